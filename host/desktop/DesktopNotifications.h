// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/BusConnection.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace kvn::host {

/// Shows notices by the desktop's server (org.freedesktop.Notifications on the session bus). The desktop
/// knows them by the name of our launcher, so its settings can switch them off. A missing server is logged
/// once. Main thread.
class DesktopNotifications {
public:
    explicit DesktopNotifications(std::shared_ptr<BusConnection> sessionBus) : bus_(std::move(sessionBus)) {}

    /// Takes the place of the last notice with this title. Some servers take "<" and "&" in the text for
    /// markup.
    void show(const std::string& title, const std::string& text);

private:
    struct Notice {
        std::uint32_t id = 0; // the server's; 0 before its first answer
        MainLoop::Handle call;
    };

    const std::shared_ptr<BusConnection> bus_;
    std::map<std::string, Notice> notices_; // by title
};

} // namespace kvn::host
