// SPDX-License-Identifier: MIT

#include "remote/platform/RemoteServiceConnector.h"

#include "basic/SystemSleepMonitor.h"
#include "core/logging/CNSLog.h"
#include "remote/FRSCtrl.h"
#include "remote/platform/ClientArguments.h"
#include "remote/platform/settings/RemoteServiceSettings.h"

#include <chrono>
#include <string_view>
#include <utility>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

/// A system that has just started is busy: the client is launched later, when the desktop is ready.
constexpr auto kSettledUpTime = 90s;
constexpr std::chrono::milliseconds kLaunchDelayAfterBoot = 12s;
constexpr std::chrono::milliseconds kLaunchDelay = 1s;

/// A service that never answers must not fill the memory: beyond this number the oldest request is dropped.
constexpr std::size_t kMaxPendingRequests = 256;

} // namespace

RemoteServiceConnector::RemoteServiceConnector(const Environment& environment,
                                               RemoteServiceConnectorDelegate& delegate,
                                               LaunchLimit& launchLimit)
    : environment_(environment), serviceCtrl_(false, environment.sessionInfo, environment.clock),
      ctrlDelegate_(*this, serviceCtrl_), launchLimit_(launchLimit), delegate_(delegate) {}

RemoteServiceConnector::~RemoteServiceConnector() { close(); }

void RemoteServiceConnector::close() {
    closed_ = true;        // drops what reader threads have posted already
    ctrlDelegate_.close(); // waits for events that are being handled; no more are posted then
    serviceCtrl_.closePipes();
}

// MARK: Requests

RequestId RemoteServiceConnector::prepareRequest(Completion completion) {
    // The handler is in the table before the request is sent: the answer may come, on a reader thread,
    // before the send returns.
    Kvs::FLockGuard guard(requestLock_);
    const RequestId requestId = ++lastRequestID_;
    if (completion) {
        pendingRequests_.emplace(requestId, std::move(completion));
    }
    if (pendingRequests_.size() > kMaxPendingRequests) {
        pendingRequests_.erase(pendingRequests_.begin());
    }
    return requestId;
}

RemoteServiceConnector::Completion RemoteServiceConnector::requestCompleted(RequestId requestId) {
    // Only the thread that removes a handler calls it. A reader thread with an answer and the main thread
    // with a failed send may both look for the same handler, which must not be called twice.
    Kvs::FLockGuard guard(requestLock_);
    const auto pending = pendingRequests_.find(requestId);
    if (pending == pendingRequests_.end()) {
        return {};
    }
    Completion completion = std::move(pending->second);
    pendingRequests_.erase(pending);
    return completion;
}

Kvs::FResult RemoteServiceConnector::sendRequest(ClientRequest request, Completion completion) {
    const RequestId requestId = prepareRequest(std::move(completion));
    const Kvs::FResult result = (serviceCtrl_.*request)(requestId);
    if (result < 0) {
        if (const Completion failed = requestCompleted(requestId)) {
            failed(nullptr, result);
        }
    }
    return result;
}

Kvs::FResult RemoteServiceConnector::requestServiceStatus(Completion completion) {
    return sendRequest(&Kvs::KvnRemoteServiceCtrl::requestServiceStatus, std::move(completion));
}

Kvs::FResult RemoteServiceConnector::requestProxyStatus(Completion completion) {
    return sendRequest(&Kvs::KvnRemoteServiceCtrl::requestProxyStatus, std::move(completion));
}

Kvs::FResult RemoteServiceConnector::sendServicePauseRequest(Completion completion) {
    return sendRequest(&Kvs::KvnRemoteServiceCtrl::sendServicePauseRequest, std::move(completion));
}

Kvs::FResult RemoteServiceConnector::sendServiceContinueRequest(Completion completion) {
    return sendRequest(&Kvs::KvnRemoteServiceCtrl::sendServiceContinueRequest, std::move(completion));
}

Kvs::FResult RemoteServiceConnector::sendSystemRebootRequest() {
    const Kvs::FResult result = serviceCtrl_.sendSystemRebootRequest(prepareRequest({}));
    if (result < 0) {
        CNSLog("Failed to send reboot request: %d", result);
        delegate_.serviceConnectorFailedWithError(*this, result, "sendSystemRebootRequest request failed.");
    } else {
        CNSLog("reboot request succesfully sent");
    }
    return result;
}

Kvs::FResult RemoteServiceConnector::registerServiceAgent() {
    const RequestId requestId = prepareRequest([this](const Response* response, std::int32_t result) {
        if (!response) {
            delegate_.serviceConnectorFailedWithError(*this, result, "registerServiceAgent failed.");
        } else if (const auto* answer = std::get_if<OFRRequestResult>(response)) {
            delegate_.serviceConnectorReceivedAgentRegistrationResult(*this, *answer);
        }
    });
    const Kvs::FResult result = serviceCtrl_.registerServiceAgentRequest(requestId);
    if (result < 0) {
        // Called later, because the delegate drops this connector, which the caller still uses.
        postWhileOpen([failed = requestCompleted(requestId), result] {
            if (failed) {
                failed(nullptr, result);
            }
        });
    }
    return result;
}

Kvs::FResult RemoteServiceConnector::unregisterServiceAgent() {
    CNSLog("Unregistering agent.");
    return serviceCtrl_.unregisterServiceAgentRequest(0);
}

// MARK: Answers and commands

void RemoteServiceConnector::postWhileOpen(host::MainLoop::Task task) {
    environment_.mainLoop.post([connector = weak_from_this(), task = std::move(task)] {
        if (const auto self = connector.lock(); self && !self->closed_) {
            task();
        }
    });
}

void RemoteServiceConnector::processResponse(Response response) {
    const RequestId requestId = std::visit([](const auto& answer) { return answer.requestID; }, response);
    if (Completion completion = requestCompleted(requestId)) {
        postWhileOpen([completion = std::move(completion), answer = std::move(response)] {
            completion(&answer, Kvs::kSuccess);
        });
    }
}

void RemoteServiceConnector::connectionLost() {
    postWhileOpen([this] { delegate_.serviceConnectorLostConnection(*this); });
}

void RemoteServiceConnector::processCommand(const OFRServiceCommand& command) {
    OCNSLog("RemoteServiceConnector: Processing command: %@", command.command);
    if (command.command != Kvs::FRSCtrl::Command_ExecuteProcess) {
        OCNSLog("Received unknown service command: %@", command.command);
        return;
    }
    std::string executable = command.executable;
    std::erase(executable, '"');
    std::vector<std::string> arguments = clientArguments(command.parameters);

    if (!launchLimit_.admit()) {
        return;
    }
    if (pendingLaunches_++ == 0) { // one wakes the display for all launches of a burst
        environment_.toolQueue.post(
            [&monitor = environment_.sleepMonitor] { monitor.declareLocalUserActivity(); });
    }
    if (!delegate_.serviceConnectorShouldHandleLaunchRequest(*this, executable, arguments)) {
        --pendingLaunches_;
        OCNSLog("Delegate handled launch request: %@ args: %@", executable, arguments);
        return;
    }
    if (std::string_view(executable).ends_with(".app")) {
        executable = environment_.bundle.executableOf(executable).value_or(executable);
    }
    scheduleLaunch(std::move(executable), std::move(arguments));
}

void RemoteServiceConnector::scheduleLaunch(std::string executable, std::vector<std::string> arguments) {
    const auto self = weak_from_this().lock();
    if (!self) {
        return; // the destructor has begun, and its close() waits for this call
    }
    const auto delay =
        environment_.systemInfo.upTime() < kSettledUpTime ? kLaunchDelayAfterBoot : kLaunchDelay;
    CNSLog("Launching client in %.1f seconds", std::chrono::duration<double>(delay).count());
    environment_.mainLoop.postAfter(
        delay, [self, executable = std::move(executable), arguments = std::move(arguments)] {
            --self->pendingLaunches_;
            self->launchClient(executable, arguments);
        });
}

void RemoteServiceConnector::launchClient(const std::string& executable,
                                          const std::vector<std::string>& arguments) {
    const auto launched = environment_.processRunner.launch(executable, arguments);
    if (const auto* error = std::get_if<host::Error>(&launched)) {
        OCNSLog("Failed to launch: %@ args: %@\nException: %@", executable, arguments, *error);
        return;
    }
    const pid_t processId = std::get<pid_t>(launched);
    notifyClientLauchedWithProcessId(processId);
    OCNSLog("Started: %@ procId: %d, args: %@", executable, processId, arguments);
    delegate_.updateStatus();
}

void RemoteServiceConnector::notifyClientLauchedWithProcessId(std::int64_t processId) {
    const host::LoginSession session = environment_.sessionInfo.ownSession();
    const std::string sessionId = std::to_string(session.identifier);
    environment_.settings.setLastClientProcessInfo(std::to_string(processId) + "|" + sessionId + "|" +
                                                   session.userName);
    const Kvs::FResult result = serviceCtrl_.clientLaunchedNotification(
        static_cast<unsigned long long>(processId), sessionId.c_str(), session.userName.c_str());
    if (result != Kvs::kSuccess) {
        CNSLog("Failed to report the launched client: %d", result);
        connectionLost(); // a failed send has closed the pipe
    }
}

} // namespace kvn
