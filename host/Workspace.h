// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/MainLoop.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvn::host {

/// The user's session: reports its events, and opens links, folders and programs in it. Main thread.
class Workspace {
public:
    enum class Event {
        WillSleep,
        DidWake,
        /// The system is about to end the session (log-out, shutdown): the observer ends the agent in an
        /// orderly way, as SIGTERM does. Sent only where the desktop asks its programs to end; elsewhere they
        /// get the signal itself.
        WillEndSession,
    };

    /// Called once on the main thread, with the reason if the attempt failed. Not called if the main loop
    /// ends first.
    using Completion = std::function<void(std::optional<Error>)>;

    virtual ~Workspace() = default;

    /// Calls the handler for the session's events. One observer at a time.
    virtual MainLoop::Handle observe(std::function<void(Event)> handler) = 0;

    // These return at once. The completion is called when the system has taken or refused the request; it
    // does not wait until the started program ends.
    virtual void openUrl(const std::string& url, Completion completion) = 0;
    virtual void openFolder(const std::string& path, Completion completion) = 0;
    virtual void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                                   Completion completion) = 0;
};

} // namespace kvn::host
