// SPDX-License-Identifier: MIT

#pragma once

#include "host/ProcessRunner.h"
#include "host/ScriptRunner.h"
#include "host/Sleeper.h"
#include "host/SystemInfo.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvn {

/// A running process, as the process list prints it.
struct LCProcessInfo {
    std::string pid;
    std::string userId;  // numeric
    std::string command; // the whole command line

    std::string description() const { return "pid: " + pid + ", uid: " + userId + ", command: " + command; }
};

/// Lists processes and users, controls launchd jobs, quits applications and reboots the computer. All of this
/// is done with the system's command-line tools.
///
/// Every failure is logged. A task's result is 0 on success, and -1 when the tool wrote to its standard
/// error, whose text goes to `errorInfo`, or did not end within 30 seconds; the exit status does not count.
/// Loading a job that is loaded, or unloading one that is not loaded, therefore fails.
///
/// The tools and property lists have fixed paths below the root. Only the tools that list processes and
/// users are taken from the machine when the root has none.
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

    /// Returns the processes, of one user or of all, whose command line contains the name; nullopt when the
    /// list could not be read.
    std::optional<std::vector<LCProcessInfo>>
    findRunningProcessesMatching(std::string_view name, const std::optional<std::string>& userId) const;

    /// Returns the login window of each login session, whose `userId` is the session's owner; nullopt when
    /// there is none, as on every system but macOS.
    std::optional<std::vector<LCProcessInfo>> getLoginSessionInfo() const;

    /// Returns the names of all accounts except the system's; nullopt when they could not be read.
    std::optional<std::vector<std::string>> getLocalUsers() const;

    /// Returns true if the system's launchctl has the command "asuser".
    bool canUseLaunchctlAsUser() const;

    /// Loads an agent into a user's session, whose login window is the process `sessionPID`.
    int startAgent(const std::string& label, const std::string& userId, const std::string& sessionPID,
                   std::string& errorInfo) const;

    /// Unloads an agent or daemon by its property list. Without a property list it kills the process: the
    /// result is then 0, `kNothingToStop` or an `errno` value, and `errorInfo` is empty.
    int stopSystemService(const std::string& label, const std::string& pid, const std::string& userId,
                          std::string& errorInfo) const;

    int startDaemon(const std::string& label, std::string& errorInfo) const;

    /// Stops a service and starts it as a daemon 3 seconds later, even if it could not be stopped. Returns
    /// the result of the start.
    int restartService(const std::string& label, std::string& errorInfo) const;

    int removeService(const std::string& label) const;

    /// Asks every instance of the application to quit and kills those that do not. Returns true if a list of
    /// processes shows that none is left.
    bool stopAllInstancesOfApp(const std::string& name) const;

    /// Asks the Finder to restart the computer. Returns true if the script ran without error.
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
