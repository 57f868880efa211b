#pragma once

#include "host/Error.h"
#include "host/MainLoop.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvn::host {

/// The user's session: what happens in it, and what it can open. Main thread.
class Workspace {
public:
    enum class Event { WillSleep, DidWake };

    virtual ~Workspace() = default;

    /// Tells the handler of the session's events. One observer at a time.
    virtual MainLoop::Handle observe(std::function<void(Event)> handler) = 0;

    // Each returns as soon as the attempt is under way; nothing on success.
    virtual std::optional<Error> openUrl(const std::string& url) = 0;
    virtual std::optional<Error> openFolder(const std::string& path) = 0;
    virtual std::optional<Error> launchApplication(const std::string& executable,
                                                   const std::vector<std::string>& arguments) = 0;
};

} // namespace kvn::host
