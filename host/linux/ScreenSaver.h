// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/BusConnection.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kvn::host {

/// The desktop's screen saver (org.freedesktop.ScreenSaver on the session bus). No call waits for it. Results
/// are 0 when the request is on its way and an errno value, ENOTCONN without a bus, when it is not; what the
/// screen saver refuses is logged later. Main thread, except `simulateUserActivity`.
class ScreenSaver {
public:
    /// The main loop outlives this object.
    ScreenSaver(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus);

    /// Does not ask again before the screen saver has answered. Any thread.
    std::int32_t simulateUserActivity();

    /// Keeps the screen on until `unInhibit` of the id, or the end of this object. Asks again on each new
    /// connection.
    std::int32_t inhibit(const std::string& application, const std::string& reason, std::uint32_t& id);
    std::int32_t unInhibit(std::uint32_t id);

private:
    struct Inhibition {
        std::string application;
        std::string reason;
        std::optional<std::uint32_t> cookie; // of the screen saver
        bool ended = false;                  // before the answer
        MainLoop::Handle call;               // null after the answer
    };
    struct Activity {
        std::atomic<bool> wanted = false; // since it was declared until it is answered
        MainLoop::Handle call;
    };
    using Inhibitions = std::map<std::uint32_t, Inhibition>;

    void sendActivity();
    bool sendInhibit(std::uint32_t id);
    void takeCookie(std::uint32_t id, sd_bus_message* answer);
    void changeState(bool connected);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> bus_;
    // Shared only so that a task in the loop can check if this object still exists.
    const std::shared_ptr<Activity> activity_ = std::make_shared<Activity>();
    Inhibitions inhibitions_;
    std::uint32_t lastId_ = 0;
    MainLoop::Handle lastUnInhibit_;
    MainLoop::Handle state_;
};

} // namespace kvn::host
