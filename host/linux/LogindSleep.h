// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/linux/BusConnection.h"

#include <functional>
#include <memory>

namespace kvn::host {

/// Calls the handler when the system goes to sleep and when it has woken up (org.freedesktop.login1.Manager
/// on the system bus), as long as there is a bus with a logind. While this object lives, logind delays the
/// sleep for the time that its settings allow (InhibitDelayMaxSec), or until `letSleep`. Main thread.
class LogindSleep : public std::enable_shared_from_this<LogindSleep> {
public:
    /// Called on the main thread; may destroy its LogindSleep.
    using Handler = std::function<void(bool goesToSleep)>;

    /// The main loop outlives the result.
    static std::shared_ptr<LogindSleep> start(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus,
                                              Handler handler);
    ~LogindSleep() = default;
    LogindSleep(const LogindSleep&) = delete;
    LogindSleep& operator=(const LogindSleep&) = delete;

    /// Ends the delay of the sleep that was announced.
    void letSleep();

private:
    LogindSleep(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus, Handler handler);
    void takeInhibitor();
    void take(sd_bus_message& prepareForSleep);
    void announce(bool goesToSleep);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> bus_;
    const Handler handler_;
    Kvs::FileDescriptor inhibitor_;
    MainLoop::Handle call_; // for an inhibitor
    MainLoop::Handle signals_;
    MainLoop::Handle state_;
};

} // namespace kvn::host
