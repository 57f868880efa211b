// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kvn::host {

/// A message that any program of the user's session may post.
struct Notification {
    std::string name;
    std::string object; // the sender, as it names itself
    std::map<std::string, std::string, std::less<>> userInfo;
};

/// Messages between the programs of a session. Main thread. In a session without such a service no message
/// arrives, and posting fails.
class DistributedNotifications {
public:
    virtual ~DistributedNotifications() = default;

    /// Calls the handler for notifications with this name, and from this object if one is given.
    virtual MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object,
                                     std::function<void(const Notification&)> handler) = 0;

    /// Returns false at once when the session's service is not connected, which takes a moment after this
    /// object was made.
    virtual bool post(const Notification& notification) = 0;
};

/// Returns the backend's implementation. The loop outlives it. Main thread.
std::unique_ptr<DistributedNotifications> makeDistributedNotifications(MainLoop& loop);

} // namespace kvn::host
