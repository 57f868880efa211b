#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace kvn::host {

/// A message that any program of the user's session may post.
struct Notification {
    std::string name;
    std::string object; // who posts it, by its own account
    std::map<std::string, std::string, std::less<>> userInfo;
};

/// Messages between the programs of a session. Main thread. Where the session has no such service,
/// nothing is received, and posting fails.
class DistributedNotifications {
public:
    virtual ~DistributedNotifications() = default;

    /// Tells the handler of notifications with this name, and from this object where one is given.
    virtual MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object,
                                     std::function<void(const Notification&)> handler) = 0;

    virtual bool post(const Notification& notification) = 0;
};

} // namespace kvn::host
