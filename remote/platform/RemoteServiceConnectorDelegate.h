// SPDX-License-Identifier: MIT

#pragma once

#include "remote/platform/OFRRecords.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvn {

class RemoteServiceConnector;

/// Implemented by the owner of a connector. Called on the main thread unless noted.
class RemoteServiceConnectorDelegate {
public:
    virtual ~RemoteServiceConnectorDelegate() = default;

    /// Called when the service has answered the registration.
    virtual void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector& connector,
                                                                 const OFRRequestResult& result) = 0;

    /// Called when a request has failed.
    virtual void serviceConnectorFailedWithError(RemoteServiceConnector& connector, std::int32_t code,
                                                 const std::string& description) = 0;

    /// Called when a pipe to the service has broken. The service may have restarted, and then it does not
    /// know this agent.
    virtual void serviceConnectorLostConnection(RemoteServiceConnector& connector) = 0;

    /// Called before a client program is launched. Returns false if the delegate has handled the request
    /// itself. Called on a reader thread: must not wait for the main thread.
    virtual bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector& connector,
                                                           const std::string& executable,
                                                           const std::vector<std::string>& arguments) = 0;

    /// Called when a client program was launched, so that the service's status may have changed.
    virtual void updateStatus() = 0;
};

} // namespace kvn
