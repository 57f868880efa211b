// SPDX-License-Identifier: MIT

#pragma once

#include "host/Clock.h"
#include "host/MainLoop.h"
#include "remote/platform/RemoteServiceConnector.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

/// Receives the service's status and the failures of requests. Called on the main thread.
class AgentControllerDelegate {
public:
    virtual ~AgentControllerDelegate() = default;

    /// `info` is null when the status could not be read.
    virtual void notifyServiceStatus(const OFRServiceInfo* info) = 0;
    virtual void notifyRequestFailedWithError(const std::string& text, std::int32_t code) = 0;
};

/// The agent's link to the remote service: registers the agent, polls the status every 5 seconds, and
/// replaces the connector after failures. Main thread only; must outlive the main loop's run.
class AgentController : public RemoteServiceConnectorDelegate {
public:
    explicit AgentController(const RemoteServiceConnector::Environment& environment);
    ~AgentController() override;
    AgentController(const AgentController&) = delete;
    AgentController& operator=(const AgentController&) = delete;

    void setControllerDelegate(AgentControllerDelegate* delegate) { controllerDelegate_ = delegate; }

    /// Starts polling, registers, and asks for the first status.
    void start();

    /// Ends polling, unregisters the agent and closes the connector.
    void stop();

    /// Does nothing while stopped.
    void requestServiceStatus();
    // Each of these returns false when the service cannot be reached.
    bool requestServicePause();
    bool requestServiceContinue();
    bool requestSystemReboot();

    // RemoteServiceConnectorDelegate
    void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector& connector,
                                                         const OFRRequestResult& result) override;
    void serviceConnectorFailedWithError(RemoteServiceConnector& connector, std::int32_t code,
                                         const std::string& description) override;
    void serviceConnectorLostConnection(RemoteServiceConnector& connector) override;
    bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector& connector,
                                                   const std::string& executable,
                                                   const std::vector<std::string>& arguments) override;
    void updateStatus() override;

private:
    void sendRegistration();
    void restartConnector();
    void replaceConnector();
    void dropConnector();
    using ChangeRequest = Kvs::FResult (RemoteServiceConnector::*)(RemoteServiceConnector::Completion);
    bool requestChange(ChangeRequest request);
    void reportNoStatus(std::int32_t code);

    RemoteServiceConnector::Environment environment_;
    LaunchLimit launchLimit_;

    std::shared_ptr<RemoteServiceConnector> rsConnector_; // null after a failure, until it is replaced
    host::MainLoop::Handle statusTimer_;                  // null while stopped
    std::optional<std::chrono::steady_clock::time_point> registrationTime_;
    bool agentIsReqistered_ = false;
    host::MainLoop::Handle connectorRestart_; // the scheduled replacement; null if there is none
    AgentControllerDelegate* controllerDelegate_ = nullptr;
};

} // namespace kvn
