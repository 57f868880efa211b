// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/BusConnection.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kvn::host {

/// Calls the handler when the graphical session of this process ends, as far as a bus tells it: logind says
/// that the session is closing or gone, or the desktop's session manager (org.gnome.SessionManager, which
/// several desktops have) asks its clients to end. May call it more than once. Main thread.
class SessionEnd : public std::enable_shared_from_this<SessionEnd> {
public:
    /// Called on the main thread; may destroy its SessionEnd.
    using Handler = std::function<void()>;

    /// `startupId` is the one under which the session manager started this process, or empty. The main loop
    /// outlives the result.
    static std::shared_ptr<SessionEnd> start(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                                             std::shared_ptr<BusConnection> systemBus, std::string startupId,
                                             Handler handler);
    ~SessionEnd() = default;
    SessionEnd(const SessionEnd&) = delete;
    SessionEnd& operator=(const SessionEnd&) = delete;

private:
    SessionEnd(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
               std::shared_ptr<BusConnection> systemBus, std::string startupId, Handler handler);
    void announce();

    void askForSession();
    void takeSession(sd_bus_message* answer);
    void askForState();
    void takeState(sd_bus_message* answer);
    void takeRemoved(sd_bus_message& sessionRemoved);

    void askForManager();
    void registerClient();
    void listen(const std::string& manager, const std::string& client);
    void takeManagerSignal(const std::string& client, std::string_view name);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> sessionBus_;
    const std::shared_ptr<BusConnection> systemBus_;
    const std::string startupId_;
    const Handler handler_;
    std::string session_; // object of logind; empty when it is not known
    MainLoop::Handle logindCall_;
    MainLoop::Handle managerCall_;
    MainLoop::Handle response_;
    MainLoop::Handle signals_[3];
    MainLoop::Handle managerSignals_; // while this process is registered with the session manager
    MainLoop::Handle states_[2];
};

} // namespace kvn::host
