#pragma once

#include "host/ConsoleUser.h"
#include "host/MainLoop.h"
#include "host/WorkQueue.h"
#include "remote/platform/launchd/LaunchdController.h"

#include <optional>
#include <string>
#include <unistd.h>

namespace kvn {

/// Makes sure that every logged-in user has a running `KvnGUIAgent`: 10 seconds after the console went
/// to a user, launchd is told to start it in every login session that has none. Where there are no
/// login windows, nothing is started.
///
/// Main thread. The search and the starts, which wait for tools, run on the work queue. This object must
/// outlive the main loop's run, and `launchd` the work queue's jobs.
class LoginSessionMonitor {
public:
    LoginSessionMonitor(host::ConsoleUser& consoleUser, host::MainLoop& mainLoop, host::WorkQueue& workQueue,
                        const LaunchdController& launchd)
        : consoleUser_(consoleUser), mainLoop_(mainLoop), workQueue_(workQueue), launchd_(launchd) {}

    /// The login name of the user, by default the effective one: 254 bytes of it at most, each read as a
    /// character of Mac OS Roman. "anonymous" for a user without a name. Any thread.
    static std::string getProcessOwnerName(uid_t user = geteuid());

    /// Begins: handles the user whom the console has now, and those whom it goes to from now on.
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
