#pragma once

#include "host/MainLoop.h"
#include "privileged-helper/shared/PHProtocolHandler.h"
#include "standins/privileged-helper/Options.h"

#include <atomic>
#include <functional>
#include <semaphore>
#include <thread>

namespace kvn::helper {

/// The connection of one agent, with the thread that reads from it. Main thread.
class Session final : private PHConnectionDelegate {
public:
    using Received = std::function<void(const PHMessage& message)>;

    /// `received` is called with each message, which is the last one until `readOn`, and `ended` at the end
    /// of the connection; both in the loop, and maybe after this object went.
    Session(host::MainLoop& loop, Kvs::FileDescriptor connection, Received received,
            host::MainLoop::Task ended);
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void readOn() { turns_.release(); }

    /// Sends the message, or does the fault in its place. A peer that does not read ends the session after
    /// two seconds.
    void send(const PHMessage& message, Fault fault);

private:
    void read(const Received& received, const host::MainLoop::Task& ended);
    void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) override;
    void connectionClosed(PHProtocolHandler& /*handler*/) override {}

    host::MainLoop& loop_;
    PHProtocolHandler handler_;
    std::counting_semaphore<> turns_{0};
    std::atomic<bool> ending_ = false;
    std::thread reader_; // last: it uses the others
};

} // namespace kvn::helper
