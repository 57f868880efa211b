// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/MainLoop.h"

#include <functional>
#include <memory>

namespace sdbus {
class IConnection;
class IProxy;
} // namespace sdbus

namespace kvn::host {

/// Calls the handler when the system goes to sleep and when it has woken up (org.freedesktop.login1.Manager
/// on the system bus). While this object lives, logind delays the sleep for the time that its settings allow
/// (InhibitDelayMaxSec), or until `letSleep`. Main thread.
class LogindSleep : public std::enable_shared_from_this<LogindSleep> {
public:
    /// Called on the main thread; may destroy its LogindSleep.
    using Handler = std::function<void(bool goesToSleep)>;

    /// Returns null without a system bus or logind. Takes a few times `kBusTimeLimit` at most.
    static std::shared_ptr<LogindSleep> start(MainLoop& mainLoop, Handler handler);
    ~LogindSleep();
    LogindSleep(const LogindSleep&) = delete;
    LogindSleep& operator=(const LogindSleep&) = delete;

    /// Ends the delay of the sleep that was announced.
    void letSleep() { inhibitor_.reset(); }

private:
    LogindSleep(MainLoop& mainLoop, Handler handler);
    bool connect();
    void takeInhibitor();
    void receive();
    void announce(bool goesToSleep);

    MainLoop& mainLoop_;
    const Handler handler_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    Kvs::FileDescriptor inhibitor_;
    MainLoop::Handle watch_;
};

} // namespace kvn::host
