#pragma once

#include "standins/privileged-helper/Child.h"
#include "standins/privileged-helper/Listener.h"
#include "standins/privileged-helper/Options.h"
#include "standins/privileged-helper/ServiceJob.h"
#include "standins/privileged-helper/Session.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kvn::helper {

/// Takes the agents' connections and carries their commands out. Main thread.
class Helper {
public:
    Helper(host::MainLoop& loop, const Options& options, std::string version, Listener& listener);

    /// Whether the helper is to start itself anew, now that the loop has ended: somebody said "bye", and
    /// neither session nor command is left.
    bool startsAnew() const { return saidBye_ && isIdle(); }

    std::optional<pid_t> service() const { return service_.child(); }

private:
    /// A program that runs for an agent, until its end or the end of its time.
    struct Task {
        std::optional<Child> child;
        host::MainLoop::Handle alarm;
        bool late = false;

        Task() = default;
        ~Task() {
            if (child) {
                child->kill();
            }
        }
    };
    using Id = int; // of a session or a task, counted up

    void accept();
    void received(Id session, const PHMessage& message);
    void control(Id session, const std::string& word);
    void command(Id session, const std::string& name, const PHMessage& message);
    void execute(Id session, const PHMessage& message);
    void taskEnded(Id session, Id task, const std::optional<std::uint64_t>& requestId, int status);
    void uninstall(Id session);
    void complete(Id session, const std::string& name, const Outcome& outcome,
                  const std::optional<PHMessage>& response = std::nullopt);
    void send(Id session, const PHMessage& message, Fault fault);
    void close(Id session);
    void endIfUnused();
    bool isIdle() const { return sessions_.empty() && tasks_.empty() && service_.isIdle(); }

    host::MainLoop& loop_;
    const Options& options_;
    const std::string version_;
    Listener& listener_;
    Id lastId_ = 0;
    bool saidBye_ = false;
    ServiceJob service_;
    std::map<Id, std::unique_ptr<Task>> tasks_;
    std::map<Id, std::unique_ptr<Session>> sessions_;
    host::MainLoop::Handle watch_;
};

} // namespace kvn::helper
