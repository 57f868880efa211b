// SPDX-License-Identifier: MIT

#include "agent/AppDelegate.h"
#include "agent/GUIAgentController.h"

#include "core/logging/CNSLog.h"

#include <utility>

// The commands to the privileged helper. A command goes to the work queue, since installing the helper and
// connecting to it may take long; its result comes back as an event on the main thread.

namespace kvn {

using Kvs::OCNSLog;

namespace {

constexpr char kHelperNotAvailable[] = "Can't start/stop service, priviliged helper tool not available";
constexpr std::int32_t kHelperNotAvailableCode = -2;
constexpr char kNotSent[] = "the command could not be sent to the privileged helper";
constexpr std::int32_t kNoStatus = -1; // of a completion whose status is not a number

/// Returns the command's name as the user interface shows it.
std::string shownName(const std::string& command) {
    static const std::map<std::string, std::string> names{{"StartService", "start"},
                                                          {"StopService", "stop"},
                                                          {"RestartService", "restart"},
                                                          {"ExecuteTask", "task"}};
    const auto found = names.find(command);
    return found == names.end() ? command : found->second;
}

} // namespace

void GUIAgentController::startService() {
    sendServiceCtrlCommand([](ServiceCtrlClient& client) { return client.sendStartCommand(); });
}

void GUIAgentController::stopService() {
    sendServiceCtrlCommand([](ServiceCtrlClient& client) { return client.sendStopCommand(); });
}

void GUIAgentController::restartService() {
    sendServiceCtrlCommand([](ServiceCtrlClient& client) { return client.sendRestartCommand(); });
}

void GUIAgentController::executeTask(const std::string& task, const std::vector<std::string>& arguments,
                                     TaskCompletion onCompletion) {
    std::optional<std::uint64_t> taskId;
    if (onCompletion) {
        taskId = ++lastExeutedTaskId_;
        pendingTasks_.emplace(*taskId, std::move(onCompletion));
    }
    sendServiceCtrlCommand(
        [=](ServiceCtrlClient& client) { return client.sendExecuteCommand(task, arguments, taskId); },
        taskId);
}

void GUIAgentController::verifyServiceCtrlClient() {
    if (!svcCtrlClient_) {
        PHAgentEventHandler& events = *this;
        svcCtrlClient_ = std::make_shared<ServiceCtrlClient>(
            PHAgentClient::Environment{environment_.mainLoop, environment_.sleeper, environment_.bundle,
                                       environment_.privilegedJobs},
            events);
    }
}

void GUIAgentController::sendServiceCtrlCommand(HelperCommand command, std::optional<std::uint64_t> taskId) {
    verifyServiceCtrlClient();
    environment_.workQueue.post([this, client = svcCtrlClient_, command = std::move(command), taskId] {
        if (client->hasEnded()) {
            return;
        }
        if (client->verifyAgentConnection()) {
            client->verifyEventThreadRunning();
        } else if (!client->installAgent()) {
            environment_.mainLoop.post([this, taskId] {
                notifyRequestFailedWithError(kHelperNotAvailable, kHelperNotAvailableCode);
                abandonTask(taskId);
                environment_.userInterface.message(std::string("error: ") + kHelperNotAvailable);
            });
            return;
        }
        const bool sent = command(*client);
        if (!sent || !client->deliversEvents()) {
            environment_.mainLoop.post([this, taskId, sent] {
                abandonTask(taskId);
                if (!sent) {
                    environment_.userInterface.message(std::string("error: ") + kNotSent);
                }
            });
        }
    });
}

void GUIAgentController::endHelperCommands() {
    if (svcCtrlClient_) {
        svcCtrlClient_->end();
    }
}

bool GUIAgentController::processAgentEvent(const PHMessage& event) {
    if (stringIn(event, "Event") != "CommandCompleted") {
        return false;
    }
    const std::string command = stringIn(event, "Cmd").value_or("");
    // A missing status means success; one that is not a number must not be taken for it.
    const std::int32_t status = event.contains("status") ? integerIn(event, "status").value_or(kNoStatus) : 0;
    const std::string details = stringIn(event, "ErrorDetails").value_or("");
    if (status != 0 && !details.empty()) {
        OCNSLog("Command %@ failed, status: %d\nDetails: %@", command, status, details);
    } else if (status != 0) {
        OCNSLog("Command %@ failed, status: %d", command, status);
    }
    if (command == "StartService") {
        appDelegate_.startServiceCompletedWithStatus(status);
    } else if (command == "StopService") {
        appDelegate_.stopServiceCompletedWithStatus(status);
    } else if (command == "ExecuteTask") {
        executedTaskCompletedWithResult(event);
    }
    reportCompletion(command, status, details);
    return false;
}

void GUIAgentController::reportCompletion(const std::string& command, std::int32_t status,
                                          const std::string& details) {
    std::string outcome = "completed";
    if (status == 0 && command == "ExecuteTask") {
        return; // the task's own completion reports its result
    }
    if (status != 0) {
        outcome = "failed (" + std::to_string(status) + ")" + (details.empty() ? "" : ": " + details);
    }
    environment_.userInterface.message(shownName(command) + ": " + outcome);
}

void GUIAgentController::executedTaskCompletedWithResult(const PHMessage& event) {
    const PHMessage response = event.valueIn("Response");
    const PHMessage requestId = response.valueIn("requestId");
    const PHMessage result = response.valueIn("result");
    const auto taskId = requestId.asIdentifier();
    const auto pending = taskId ? pendingTasks_.find(*taskId) : pendingTasks_.end();
    if (pending == pendingTasks_.end()) {
        const auto text = [](const PHMessage& value) { return value.isNull() ? "(null)" : value.text(); };
        OCNSLog("Received response: %@ for unknown request: %@", text(result), text(requestId));
        return;
    }
    const TaskCompletion onCompletion = std::move(pending->second);
    pendingTasks_.erase(pending);
    onCompletion(&result);
}

void GUIAgentController::processErrorEvent(const host::Error* error) {
    // Called on the thread that noticed the end of the connection. `svcCtrlClient_` may be read here: it was
    // set before the connection existed, and the destructor's `dropEventHandler` waits for this call.
    OCNSLog("ServiceCrtlClient error: %@", error ? error->description() : "(null)");
    environment_.workQueue.post([client = svcCtrlClient_] {
        // A command that ran before this job may have connected again; that connection must not be ended.
        if (!client->isConnected()) {
            client->terminatePrivilegedAgent();
        }
    });
    environment_.mainLoop.post([this] {
        // The helper can no longer report the results of its tasks.
        while (!pendingTasks_.empty()) {
            abandonTask(pendingTasks_.begin()->first);
        }
    });
}

void GUIAgentController::abandonTask(std::optional<std::uint64_t> taskId) {
    if (const auto node = taskId ? pendingTasks_.extract(*taskId) : PendingTasks::node_type()) {
        node.mapped()(nullptr);
    }
}

} // namespace kvn
