// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopNotifications.h"

namespace kvn::host {
namespace {

constexpr BusMethod kNotify{"org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                            "org.freedesktop.Notifications", "Notify"};
constexpr const char* kLauncher = "com.korvane.remote.KvnGUIAgent"; // and the name of its icon
constexpr unsigned kNormalUrgency = 1;
constexpr int kServersTimeLimit = -1;

} // namespace

void DesktopNotifications::show(const std::string& title, const std::string& text) {
    Notice& notice = notices_[title];
    notice.call = bus_->call(
        kNotify,
        [&notice](sd_bus_message* answer) {
            if (answer) {
                sd_bus_message_read(answer, "u", &notice.id);
            }
        },
        "susssasa{sv}i", "KvnGUIAgent", notice.id, kLauncher, title.c_str(), text.c_str(), 0, 2,
        "desktop-entry", "s", kLauncher, "urgency", "y", kNormalUrgency, kServersTimeLimit);
}

} // namespace kvn::host
