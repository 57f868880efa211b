// SPDX-License-Identifier: MIT

#include "remote/platform/launchd/LoginSessionMonitor.h"

#include "core/logging/CNSLog.h"
#include "remote/platform/launchd/MacRoman.h"

#include <algorithm>
#include <chrono>
#include <pwd.h>

namespace kvn {

namespace {

using Kvs::OCNSLog;
using namespace std::chrono_literals;

/// The time that a new session has to start up.
constexpr auto kHandlingDelay = 10s;
constexpr const char* kAgentProcess = "KvnGUIAgent";
constexpr const char* kAgentLabel = "com.korvane.remote.KvnGUIAgent";

std::string loginName(uid_t user) {
    constexpr std::size_t kRoomForTexts = 16384;
    std::vector<char> texts(kRoomForTexts);
    passwd entry{};
    passwd* found = nullptr;
    const int error = getpwuid_r(user, &entry, texts.data(), texts.size(), &found);
    return error == 0 && found && found->pw_name ? found->pw_name : "";
}

} // namespace

std::string LoginSessionMonitor::getProcessOwnerName(uid_t user) {
    constexpr std::size_t kLongestName = 254;
    const std::string name = loginName(user).substr(0, kLongestName);
    return name.empty() ? "anonymous" : utf8FromMacRoman(name);
}

void LoginSessionMonitor::systemMonitorStartedMonitoring() {
    changes_ = consoleUser_.onChange([this] { systemMonitorDetectedConfigChange(); });
    handleLoginSessionChange();
}

void LoginSessionMonitor::systemMonitorDetectedConfigChange() { handleLoginSessionChange(); }

void LoginSessionMonitor::handleLoginSessionChange() {
    const auto owner = consoleUser_.current();
    OCNSLog("LoginSessionMonitor: current console user: %@(%d)", owner.name, static_cast<int>(owner.uid));
    mainLoop_.postAfter(kHandlingDelay, [this, name = owner.name] { loginSessionChanged(name); });
}

void LoginSessionMonitor::loginSessionChanged(const std::optional<std::string>& userName) {
    OCNSLog("LoginSessionMonitor: current user: %@", userName);
    if (!userName || userName == lastLoginUser_ || *userName == "loginwindow") {
        return;
    }
    lastLoginUser_ = userName;
    workQueue_.post([&launchd = launchd_] { startMissingAgents(launchd); });
}

void LoginSessionMonitor::startMissingAgents(const LaunchdController& launchd) {
    const auto agents = launchd.findRunningProcessesMatching(kAgentProcess, std::nullopt);
    if (!agents) {
        return; // without a list it is not known which users have an agent
    }
    for (const LCProcessInfo& session :
         launchd.getLoginSessionInfo().value_or(std::vector<LCProcessInfo>())) {
        const bool hasAgent = std::any_of(agents->begin(), agents->end(), [&](const LCProcessInfo& agent) {
            return agent.userId == session.userId;
        });
        if (session.userId.empty() || session.userId == "0" || hasAgent) {
            continue;
        }
        std::string error;
        if (launchd.startAgent(kAgentLabel, session.userId, session.pid, error) != 0) {
            OCNSLog("LoginSessionMonitor: failed to start agent for user: %@, pid: %@, error: %@",
                    session.userId, session.pid, error);
        }
    }
}

} // namespace kvn
