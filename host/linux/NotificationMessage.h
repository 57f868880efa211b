// SPDX-License-Identifier: MIT

#pragma once

#include "host/DistributedNotifications.h"

#include <cstddef>
#include <optional>
#include <systemd/sd-bus.h>

namespace kvn::host {

// The arguments of the signal that carries a notification; docs/protocol.md describes them. Any thread.

/// The most bytes that the texts of a notification that is read may have together.
inline constexpr std::size_t kMaxNotificationBytes = 65536;

/// Returns nullopt when the arguments have other types, are damaged or too long.
std::optional<Notification> readNotification(sd_bus_message& message);

/// Returns false when a text is not UTF-8, which a bus does not carry.
bool appendNotification(sd_bus_message& message, const Notification& notification);

} // namespace kvn::host
