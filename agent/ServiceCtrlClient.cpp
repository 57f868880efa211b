// SPDX-License-Identifier: MIT

#include "agent/ServiceCtrlClient.h"

#include "core/logging/CNSLog.h"

namespace kvn {

namespace {

using Kvs::CNSLog;

constexpr char kLabel[] = "com.korvane.remote.KvnServiceController";
constexpr char kHelper[] = "Library/LaunchServices/com.korvane.remote.KvnServiceController";

} // namespace

ServiceCtrlClient::ServiceCtrlClient(const Environment& environment, PHAgentEventHandler& eventHandler)
    : PHAgentClient(environment, eventHandler, kHelper, false), bundle_(environment.bundle) {}

bool ServiceCtrlClient::installAgent() {
    const std::string prompt = bundle_.localizedString("ServiceCtrlAuthPromt");
    const auto result = installPrivilegedAgent(kLabel, "", "", prompt);
    startEventThread();
    return result == kInstalled;
}

void ServiceCtrlClient::sendStartCommand() {
    CNSLog("Sending start service command");
    sendMessage({{"Cmd", "StartService"}});
}

void ServiceCtrlClient::sendStopCommand() {
    CNSLog("Sending stop service command");
    sendMessage({{"Cmd", "StopService"}});
}

void ServiceCtrlClient::sendRestartCommand() {
    CNSLog("Sending restart service command");
    sendMessage({{"Cmd", "RestartService"}});
}

void ServiceCtrlClient::sendExecuteCommand(const std::string& task, const std::vector<std::string>& arguments,
                                           std::optional<std::uint64_t> requestId) {
    CNSLog("Sending launch command");
    sendMessage({{"Cmd", "ExecuteTask"}, {"task", task}, {"args", arguments}, {"requestId", requestId}});
}

} // namespace kvn
