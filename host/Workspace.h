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
    enum class Event {
        WillSleep,
        DidWake,
        /// The system wants the session to end (log-out, shutdown): the observer ends the agent in order, as
        /// SIGTERM does. Sent only where the desktop asks its programs; elsewhere they get the signal itself.
        WillEndSession,
    };

    /// Called once on the main thread, with the reason if the attempt failed. Dropped if the main loop goes
    /// first.
    using Completion = std::function<void(std::optional<Error>)>;

    virtual ~Workspace() = default;

    /// Tells the handler of the session's events. One observer at a time.
    virtual MainLoop::Handle observe(std::function<void(Event)> handler) = 0;

    // These return at once. The completion comes when the system has taken the request or refused it; it
    // does not wait for the end of what was started.
    virtual void openUrl(const std::string& url, Completion completion) = 0;
    virtual void openFolder(const std::string& path, Completion completion) = 0;
    virtual void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                                   Completion completion) = 0;
};

} // namespace kvn::host
