#pragma once

#include "host/ProcessRunner.h"
#include "host/ScriptRunner.h"
#include "host/Sleeper.h"
#include "host/SystemInfo.h"
#include "remote/platform/launchd/LCProcessInfo.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvn {

/// Lists processes and users, controls launchd jobs, quits applications and reboots the computer, all
/// through the system's command-line tools.
///
/// Every failure is logged. Results of tasks are 0 on success, and -1 when the tool wrote to its standard
/// error, whose text goes to `errorInfo`, or could not be run to its end within 30 seconds; the exit
/// status does not count. launchctl so fails for a job that is already loaded, or already not.
///
/// The tools and property lists are fixed paths. A root without a process list or user list of its own
/// is shown the machine's; the tools that change something are never taken from outside the root.
///
/// Any thread that may block. Has no state of its own.
class LaunchdController {
public:
    /// The result of `stopSystemService` for a job that has neither a property list nor a process.
    static constexpr int kNothingToStop = 3;

    LaunchdController(host::ProcessRunner& processRunner, host::ScriptRunner& scriptRunner,
                      host::Sleeper& sleeper, const host::SystemInfo& systemInfo)
        : processRunner_(processRunner), scriptRunner_(scriptRunner), sleeper_(sleeper),
          systemInfo_(systemInfo) {}

    /// The processes, of one user or of all, whose command line contains the name; nothing when the
    /// list could not be had.
    std::optional<std::vector<LCProcessInfo>>
    findRunningProcessesMatching(std::string_view name, const std::optional<std::string>& userId) const;

    /// The login window of each login session, of which `userId` owns the session; nothing when there
    /// are none, as everywhere but on macOS.
    std::optional<std::vector<LCProcessInfo>> getLoginSessionInfo() const;

    /// The names of all accounts but the system's; nothing when they could not be had.
    std::optional<std::vector<std::string>> getLocalUsers() const;

    /// Whether launchctl knows "asuser".
    bool canUseLaunchctlAsUser() const;

    /// Loads an agent into a user's session, whose login window is the process `sessionPID`.
    int startAgent(const std::string& label, const std::string& userId, const std::string& sessionPID,
                   std::string& errorInfo) const;

    /// Unloads an agent or daemon by its property list, or kills its process when it has none: then the
    /// result is 0, `kNothingToStop` or an `errno` value, and `errorInfo` is empty.
    int stopSystemService(const std::string& label, const std::string& pid, const std::string& userId,
                          std::string& errorInfo) const;

    int startDaemon(const std::string& label, std::string& errorInfo) const;

    /// Stops a service, and starts it as a daemon 3 seconds later, whether or not it could be stopped;
    /// the result is that of the start.
    int restartService(const std::string& label, std::string& errorInfo) const;

    int removeService(const std::string& label) const;

    /// Asks every instance of the application to quit, and ends those that do not. True when none is
    /// known to be left.
    bool stopAllInstancesOfApp(const std::string& name) const;

    /// Asks the Finder to restart the computer; true when it was asked.
    bool rebootSystem() const;

private:
    int executeTask(const std::string& path, const std::vector<std::string>& arguments,
                    std::string& errorText) const;
    int executeStartTaskForDaemon(const std::string& label, std::string& errorInfo) const;
    std::optional<std::string> outputOf(const std::string& path,
                                        const std::vector<std::string>& arguments) const;
    std::vector<std::string> jobArguments(const std::string& verb, const std::string& label,
                                          const std::string& userId, const std::string& sessionPID,
                                          const std::string& plist) const;
    void askToQuit(const std::string& name) const;
    void killAll(const std::string& name) const;

    host::ProcessRunner& processRunner_;
    host::ScriptRunner& scriptRunner_;
    host::Sleeper& sleeper_;
    const host::SystemInfo& systemInfo_;
};

} // namespace kvn
