#pragma once

#include "standins/privileged-helper/Child.h"
#include "standins/privileged-helper/Options.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace kvn::helper {

/// The remote service, as its job list describes it: started, and ended whoever started it. Requests are
/// carried out one after the other. Main thread.
class ServiceJob {
public:
    using Done = std::function<void(const Outcome&)>;

    /// `running` is the service as a child of this process.
    ServiceJob(host::MainLoop& loop, std::optional<pid_t> running);

    /// Done when the service takes commands, or has not come up within 5 seconds or at all.
    void start(Done done) { request({false, true, std::move(done)}); }
    /// Done when its process has ended; after 5 seconds it is killed.
    void stop(Done done) { request({true, false, std::move(done)}); }
    void restart(Done done) { request({true, true, std::move(done)}); }

    bool isIdle() const { return requests_.empty(); }
    std::optional<pid_t> child() const { return child_ ? std::optional(child_->pid()) : std::nullopt; }

private:
    enum class Stage { Idle, Stopping, Starting };

    struct Request {
        bool stops;
        bool starts;
        Done done;
    };

    void request(Request request);
    void begin();
    void beginStop();
    void end(pid_t pid);
    void stopped();
    void beginStart();
    void look();
    void childEnded(int status);
    void finish(const Outcome& outcome);
    std::optional<pid_t> running() const;

    host::MainLoop& loop_;
    const std::string control_;    // the service's control socket
    std::deque<Request> requests_; // the first is in progress
    Stage stage_ = Stage::Idle;
    std::optional<Child> child_;
    std::string program_;
    Kvs::FileDescriptor stranger_; // the end of a service that is nobody's child here
    Kvs::FileDescriptor question_; // to a service that comes up
    std::string failure_;          // of a service that is being killed because of it
    host::MainLoop::Handle watch_; // of what is being waited for
    host::MainLoop::Handle alarm_; // at the end of the patience
};

} // namespace kvn::helper
