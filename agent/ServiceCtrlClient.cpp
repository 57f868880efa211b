// SPDX-License-Identifier: MIT

#include "agent/ServiceCtrlClient.h"

#include "core/logging/CNSLog.h"

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;

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

bool ServiceCtrlClient::sendStartCommand() {
    CNSLog("Sending start service command");
    return sendMessage({{"Cmd", "StartService"}});
}

bool ServiceCtrlClient::sendStopCommand() {
    CNSLog("Sending stop service command");
    return sendMessage({{"Cmd", "StopService"}});
}

bool ServiceCtrlClient::sendRestartCommand() {
    CNSLog("Sending restart service command");
    return sendMessage({{"Cmd", "RestartService"}});
}

bool ServiceCtrlClient::sendExecuteCommand(const std::string& task, const std::vector<std::string>& arguments,
                                           std::optional<std::uint64_t> requestId) {
    CNSLog("Sending launch command");
    const PHMessage message = {
        {"Cmd", "ExecuteTask"}, {"task", task}, {"args", arguments}, {"requestId", requestId}};
    if (const std::size_t size = message.text().size(); size > PHProtocolHandler::kMaxBody) {
        // A helper ends the connection when it receives more.
        OCNSLog("The task %@ is too long for a message: %lu bytes, at most %lu", task,
                static_cast<unsigned long>(size), static_cast<unsigned long>(PHProtocolHandler::kMaxBody));
        return false;
    }
    return sendMessage(message);
}

} // namespace kvn
