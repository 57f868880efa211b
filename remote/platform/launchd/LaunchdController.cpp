// SPDX-License-Identifier: MIT

#include "remote/platform/launchd/LaunchdController.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/text/TextFunctions.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr auto kToolTime = 30s;
/// These allow far more output than a list of processes has, and more error text than launchctl writes.
constexpr host::ProcessRunner::Limits kListLimits{kToolTime, std::size_t{16} << 20};
constexpr host::ProcessRunner::Limits kTaskLimits{kToolTime, std::size_t{64} << 10};

constexpr auto kRestartPause = 3000ms;
constexpr auto kRebootDelay = 1500ms;
constexpr auto kQuitPause = 330ms;
constexpr int kQuitRounds = 5;
constexpr auto kKillAllPause = 500ms;

bool exists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

std::string launchctl() { return Kvs::FSysInfoPaths::underRoot("/bin/launchctl"); }

/// Returns the path of a tool that only reads: below the root if it exists there, otherwise that of the
/// machine.
std::string listTool(const char* path) {
    std::string own = Kvs::FSysInfoPaths::underRoot(path);
    return exists(own) ? own : path;
}

std::string plistIn(const char* directory, const std::string& label) {
    return Kvs::FSysInfoPaths::underRoot(directory) + "/" + label + ".plist";
}
std::string agentPlist(const std::string& label) { return plistIn("/Library/LaunchAgents", label); }
std::string daemonPlist(const std::string& label) { return plistIn("/Library/LaunchDaemons", label); }

/// Returns the number that the text begins with, or 0.
int intValue(std::string_view text) {
    const auto digits = Kvs::fTrimmed(text);
    long long value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return static_cast<int>(
        std::clamp<long long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Removes and returns the first word of a trimmed text; nullopt when no other word follows it.
std::optional<std::string_view> takeWord(std::string_view& text) {
    const auto end = text.find_first_of(Kvs::kBlanks);
    if (end == text.npos) {
        return std::nullopt;
    }
    const auto word = text.substr(0, end);
    text = Kvs::fTrimmed(text.substr(end));
    return word;
}

/// Calls `use(line)` with every line of the text.
template <class Use>
void forEachLine(std::string_view text, Use use) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        use(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::optional<LCProcessInfo> parseProcess(std::string_view line) {
    auto rest = Kvs::fTrimmed(line);
    const auto pid = takeWord(rest);
    const auto userId = pid ? takeWord(rest) : std::nullopt;
    if (!userId) {
        return std::nullopt;
    }
    return LCProcessInfo{std::string(*pid), std::string(*userId), std::string(rest)};
}

/// Returns the result of a script as it is logged.
std::string description(const std::variant<std::string, host::Error>& result) {
    const auto* error = std::get_if<host::Error>(&result);
    return error ? error->description() : std::get<std::string>(result);
}

} // namespace

// MARK: Tools

int LaunchdController::executeTask(const std::string& path, const std::vector<std::string>& arguments,
                                   std::string& errorText) const {
    const auto result = processRunner_.run(path, arguments, kTaskLimits);
    const auto* error = std::get_if<host::Error>(&result);
    errorText = error ? error->description() : std::get<host::ProcessRunner::Outcome>(result).errors;
    if (errorText.empty()) {
        return 0;
    }
    OCNSLog("Task %@ returned error: %@", path, errorText);
    return -1;
}

std::optional<std::string> LaunchdController::outputOf(const std::string& path,
                                                       const std::vector<std::string>& arguments) const {
    auto result = processRunner_.run(path, arguments, kListLimits);
    if (const auto* error = std::get_if<host::Error>(&result)) {
        OCNSLog("Task %@ returned error: %@", path, error->description());
        return std::nullopt;
    }
    return std::move(std::get<host::ProcessRunner::Outcome>(result).output);
}

// MARK: Lists

std::optional<std::vector<LCProcessInfo>>
LaunchdController::findRunningProcessesMatching(std::string_view name,
                                                const std::optional<std::string>& userId) const {
    const auto output = outputOf(listTool("/bin/ps"), {"-e", "-o", "pid,uid,command"});
    if (!output) {
        return std::nullopt;
    }
    std::vector<LCProcessInfo> found;
    forEachLine(*output, [&](std::string_view line) {
        auto process = parseProcess(line);
        if (!process) {
            OCNSLog("Unexpected output line of ps command: %@", line);
        } else if (process->command.find(name) != std::string::npos &&
                   (!userId || process->userId == *userId)) {
            found.push_back(std::move(*process));
        }
    });
    return found;
}

std::optional<std::vector<LCProcessInfo>> LaunchdController::getLoginSessionInfo() const {
    auto sessions = findRunningProcessesMatching("loginwindow", std::nullopt);
    if (!sessions || sessions->empty()) {
        return std::nullopt;
    }
    OCNSLog("Login sessions: %@", *sessions);
    return sessions;
}

std::optional<std::vector<std::string>> LaunchdController::getLocalUsers() const {
    const auto output = outputOf(listTool("/usr/bin/dscl"), {".", "list", "/Users", "UniqueID"});
    if (!output) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    forEachLine(*output, [&](std::string_view line) {
        const auto account = Kvs::fTrimmed(line); // a name and an identifier
        const auto name = account.substr(0, account.find_first_of(Kvs::kBlanks));
        if (!name.empty() && name.front() != '_') {
            names.emplace_back(name);
        }
    });
    return names;
}

// MARK: Jobs

bool LaunchdController::canUseLaunchctlAsUser() const {
    return systemInfo_.isOperatingSystemAtLeast(10, 9, 0);
}

std::vector<std::string> LaunchdController::jobArguments(const std::string& verb, const std::string& label,
                                                         const std::string& userId,
                                                         const std::string& sessionPID,
                                                         const std::string& plist) const {
    if (intValue(userId) == 0) {
        return {verb, "-w", plist};
    }
    if (!canUseLaunchctlAsUser()) {
        return {"bsexec", sessionPID, "chroot", "-u", userId, "/", launchctl(), verb, "-w", plist};
    }
    if (label.find("GUI") != std::string::npos) {
        return {"asuser", userId, launchctl(), verb, "-w", "-S", "Aqua", plist};
    }
    return {"asuser", userId, launchctl(), verb, "-w", plist};
}

int LaunchdController::startAgent(const std::string& label, const std::string& userId,
                                  const std::string& sessionPID, std::string& errorInfo) const {
    const auto arguments = jobArguments("load", label, userId, sessionPID, agentPlist(label));
    OCNSLog("Loading agent: %@, cmd = %@, args: %@", label, launchctl(), arguments);
    return executeTask(launchctl(), arguments, errorInfo);
}

int LaunchdController::stopSystemService(const std::string& label, const std::string& pid,
                                         const std::string& userId, std::string& errorInfo) const {
    for (const std::string& plist : {agentPlist(label), daemonPlist(label)}) {
        if (exists(plist)) {
            const auto arguments = jobArguments("unload", label, userId, pid, plist);
            OCNSLog("Stopping service: %@, args:%@", label, arguments);
            return executeTask(launchctl(), arguments, errorInfo);
        }
    }
    errorInfo.clear();
    OCNSLog("No plist file found for: %@", label);
    const pid_t process = intValue(pid);
    if (process < 2) {
        OCNSLog("Can't stop service:%@, plist file not found and no PID available", label);
        return kNothingToStop;
    }
    if (kill(process, SIGKILL) != 0) {
        const int error = errno;
        CNSLog("Failed to kill process, error: %d", error);
        return error;
    }
    CNSLog("Terminating process: %d", process);
    return 0;
}

int LaunchdController::startDaemon(const std::string& label, std::string& errorInfo) const {
    return executeStartTaskForDaemon(label, errorInfo);
}

int LaunchdController::executeStartTaskForDaemon(const std::string& label, std::string& errorInfo) const {
    const std::vector<std::string> arguments{"load", "-w", daemonPlist(label)};
    OCNSLog("Loading service: %@, cmd = %@, args: %@", label, launchctl(), arguments);
    return executeTask(launchctl(), arguments, errorInfo);
}

int LaunchdController::restartService(const std::string& label, std::string& errorInfo) const {
    OCNSLog("Restarting service: %@", label);
    const int result = stopSystemService(label, "", "", errorInfo);
    if (result != 0) {
        OCNSLog("Can't stop service for restart, error %d, details: %@", result, errorInfo);
    }
    sleeper_.sleepFor(kRestartPause);
    return executeStartTaskForDaemon(label, errorInfo);
}

int LaunchdController::removeService(const std::string& label) const {
    const std::vector<std::string> arguments{"remove", label};
    OCNSLog("Stopping service: %@, args:%@", label, arguments);
    std::string errorInfo;
    const int result = executeTask(launchctl(), arguments, errorInfo);
    if (result != 0) {
        OCNSLog("Failed to stop service: %@, error: %d", label, result);
    }
    return result;
}

// MARK: Applications

bool LaunchdController::stopAllInstancesOfApp(const std::string& name) const {
    auto running = findRunningProcessesMatching(name, std::nullopt);
    // Without a list it is not known if any is left.
    const auto lookAgain = [&] { running = findRunningProcessesMatching(name, std::nullopt); };
    const auto someRemain = [&] { return !running || !running->empty(); };

    for (std::size_t asked = 0; running && asked < running->size(); ++asked) {
        askToQuit(name);
    }
    for (int round = 0; round < kQuitRounds && someRemain(); ++round) {
        sleeper_.sleepFor(kQuitPause);
        lookAgain();
    }
    if (someRemain()) {
        OCNSLog("Failed to quit app '%@' gracefully. Trying killall...", name);
        killAll(name);
        lookAgain();
        sleeper_.sleepFor(kKillAllPause);
    }
    if (someRemain()) {
        OCNSLog("Giving up stopping application: %@", name);
        return false;
    }
    return true;
}

void LaunchdController::askToQuit(const std::string& name) const {
    const auto result = scriptRunner_.run("    tell application \"" + name +
                                          "\"\n"
                                          "        quit saving no\n"
                                          "    end tell\n");
    OCNSLog("AppleScripn event descriptor: %@", description(result));
}

void LaunchdController::killAll(const std::string& name) const {
    const std::string path = Kvs::FSysInfoPaths::underRoot("/usr/bin/killall");
    const auto result = processRunner_.run(path, {name}, kTaskLimits);
    if (const auto* error = std::get_if<host::Error>(&result)) {
        OCNSLog("Task %@ returned error: %@", path, error->description());
        return;
    }
    CNSLog("Killall task returned: %d", std::get<host::ProcessRunner::Outcome>(result).exitStatus);
}

bool LaunchdController::rebootSystem() const {
    sleeper_.sleepFor(kRebootDelay);
    const auto result = scriptRunner_.run("    tell application \"Finder\"\n"
                                          "        restart\n"
                                          "    end tell\n");
    if (std::holds_alternative<host::Error>(result)) {
        OCNSLog("Reboot command failed: %@", description(result));
        return false;
    }
    OCNSLog("Reboot command: AppleScript event descriptor: %@", description(result));
    return true;
}

} // namespace kvn
