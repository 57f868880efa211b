// SPDX-License-Identifier: MIT

#include "remote/platform/AgentController.h"

#include "core/logging/CNSLog.h"

#include <utility>

namespace kvn {

namespace {

using Kvs::CNSDbgLog;
using Kvs::CNSLog;
using Kvs::OCNSDbgLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr auto kStatusInterval = 5s;
/// The time that the service has to confirm a registration.
constexpr auto kRegistrationTimeout = 3s;
constexpr auto kConnectorRestartDelay = 5s;

} // namespace

AgentController::AgentController(const RemoteServiceConnector::Environment& environment)
    : environment_(environment), launchLimit_(environment.mainLoop, environment.clock) {
    replaceConnector();
}

AgentController::~AgentController() { dropConnector(); }

void AgentController::start() {
    if (statusTimer_) {
        CNSLog("Status timer already started");
        return;
    }
    CNSLog("Starting status timer");
    statusTimer_ = environment_.mainLoop.startTimer(kStatusInterval, [this] { requestServiceStatus(); });
    if (!rsConnector_) {
        replaceConnector();
    }
    sendRegistration();
    requestServiceStatus();
}

void AgentController::stop() {
    if (!statusTimer_) {
        return;
    }
    statusTimer_.reset();
    connectorRestart_.reset();
    if (rsConnector_) {
        rsConnector_->unregisterServiceAgent();
    }
    agentIsReqistered_ = false;
    dropConnector();
}

void AgentController::sendRegistration() {
    CNSLog(registrationTime_ ? "Reregistering service agent..." : "Registering service agent...");
    registrationTime_ = environment_.clock.steadyNow();
    rsConnector_->registerServiceAgent();
}

// MARK: Requests

void AgentController::requestServiceStatus() {
    if (!statusTimer_) {
        return;
    }
    const bool unconfirmed = !agentIsReqistered_ && registrationTime_ &&
                             environment_.clock.steadyNow() - *registrationTime_ > kRegistrationTimeout;
    if (!rsConnector_ || (unconfirmed && !connectorRestart_)) {
        restartConnector();
    }
    CNSDbgLog("Requesting status");
    rsConnector_->requestServiceStatus([this](const auto* response, std::int32_t result) {
        const auto* info = response ? std::get_if<OFRServiceInfo>(response) : nullptr;
        OCNSDbgLog("Received: %@", info ? info->description(environment_.bundle) : "(null)");
        if (!info) {
            agentIsReqistered_ = false;
            reportNoStatus(result);
        }
        if (controllerDelegate_) {
            controllerDelegate_->notifyServiceStatus(info);
        }
    });
}

bool AgentController::requestServicePause() {
    return requestChange(&RemoteServiceConnector::sendServicePauseRequest);
}

bool AgentController::requestServiceContinue() {
    return requestChange(&RemoteServiceConnector::sendServiceContinueRequest);
}

bool AgentController::requestChange(ChangeRequest request) {
    if (!rsConnector_) {
        reportNoStatus(Kvs::kFailure);
        return false;
    }
    const Kvs::FResult result = ((*rsConnector_).*request)([this](const auto* response, std::int32_t code) {
        const auto* info = response ? std::get_if<OFRServiceInfo>(response) : nullptr;
        if (!info) {
            agentIsReqistered_ = false; // a failed send has closed the pipe
            reportNoStatus(code);
        } else if (controllerDelegate_) {
            controllerDelegate_->notifyServiceStatus(info);
        }
    });
    return result >= 0;
}

bool AgentController::requestSystemReboot() {
    const auto connector = rsConnector_; // kept alive: a failure makes the delegate method drop it
    return connector && connector->sendSystemRebootRequest() >= 0;
}

void AgentController::reportNoStatus(std::int32_t code) {
    if (controllerDelegate_) {
        controllerDelegate_->notifyRequestFailedWithError("Failed to get RemoteService status.", code);
    }
}

// MARK: Connector

void AgentController::replaceConnector() {
    dropConnector();
    rsConnector_ = std::make_shared<RemoteServiceConnector>(environment_, *this, launchLimit_);
}

void AgentController::dropConnector() {
    if (const auto connector = std::exchange(rsConnector_, nullptr)) {
        connector->close();
    }
}

void AgentController::restartConnector() {
    connectorRestart_.reset();
    replaceConnector();
    sendRegistration();
}

void AgentController::serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector&,
                                                                      const OFRRequestResult& result) {
    agentIsReqistered_ = result.statusCode == 0;
    if (agentIsReqistered_) {
        CNSLog("Service agent registered.");
    } else {
        CNSLog("Service agent registeration failed, status: %d", result.statusCode);
    }
}

void AgentController::serviceConnectorFailedWithError(RemoteServiceConnector& connector, std::int32_t code,
                                                      const std::string& description) {
    OCNSLog("RemoteServiceConnector reported error: %d, %@", code, description);
    if (&connector != rsConnector_.get()) {
        return;
    }
    dropConnector();
    if (controllerDelegate_) {
        controllerDelegate_->notifyRequestFailedWithError("RemoteServiceConnector: " + description, code);
    }
    if (!connectorRestart_) {
        connectorRestart_ =
            environment_.mainLoop.startTimer(kConnectorRestartDelay, [this] { restartConnector(); });
    }
}

void AgentController::serviceConnectorLostConnection(RemoteServiceConnector& connector) {
    if (&connector == rsConnector_.get()) {
        agentIsReqistered_ = false; // the next poll replaces the connector and registers again
    }
}

bool AgentController::serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector&, const std::string&,
                                                                const std::vector<std::string>&) {
    return true; // every launch request of the service is carried out
}

void AgentController::updateStatus() { requestServiceStatus(); }

} // namespace kvn
