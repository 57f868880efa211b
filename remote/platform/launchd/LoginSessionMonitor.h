// SPDX-License-Identifier: MIT

#pragma once

#include "host/ConsoleUser.h"
#include "host/MainLoop.h"
#include "host/WorkQueue.h"
#include "remote/platform/launchd/LaunchdController.h"

#include <optional>
#include <string>
#include <unistd.h>

namespace kvn {

/// Makes sure that every logged-in user has a running `KvnGUIAgent`: 10 seconds after the console has changed
/// to a user, this class makes launchd start the agent in every login session that has none. On systems
/// without login windows nothing is started.
///
/// Main thread. The search and the starts wait for tools and therefore run on the work queue. This object
/// must outlive the main loop's run, and `launchd` must outlive the work queue's jobs.
class LoginSessionMonitor {
public:
    LoginSessionMonitor(host::ConsoleUser& consoleUser, host::MainLoop& mainLoop, host::WorkQueue& workQueue,
                        const LaunchdController& launchd)
        : consoleUser_(consoleUser), mainLoop_(mainLoop), workQueue_(workQueue), launchd_(launchd) {}

    /// Returns the login name of the user, by default the effective one: at most 254 bytes, which are read as
    /// Mac OS Roman. "anonymous" for a user without a name. Any thread.
    static std::string getProcessOwnerName(uid_t user = geteuid());

    /// Starts: handles the present console user and every later one.
    void systemMonitorStartedMonitoring();

private:
    void systemMonitorDetectedConfigChange();
    void handleLoginSessionChange();
    void loginSessionChanged(const std::optional<std::string>& userName);
    static void startMissingAgents(const LaunchdController& launchd);

    host::ConsoleUser& consoleUser_;
    host::MainLoop& mainLoop_;
    host::WorkQueue& workQueue_;
    const LaunchdController& launchd_;

    host::MainLoop::Handle changes_;
    std::optional<std::string> lastLoginUser_;
};

} // namespace kvn
