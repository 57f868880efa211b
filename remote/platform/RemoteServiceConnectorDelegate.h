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

    /// The service answered the registration.
    virtual void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector& connector,
                                                                 const OFRRequestResult& result) = 0;

    /// A request failed.
    virtual void serviceConnectorFailedWithError(RemoteServiceConnector& connector, std::int32_t code,
                                                 const std::string& description) = 0;

    /// A pipe to the service broke. The service may have restarted, and then it does not know this agent.
    virtual void serviceConnectorLostConnection(RemoteServiceConnector& connector) = 0;

    /// Asked before a client program is launched; false means that the delegate has handled the request.
    /// Called on a reader thread: must not wait for the main thread.
    virtual bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector& connector,
                                                           const std::string& executable,
                                                           const std::vector<std::string>& arguments) = 0;

    /// A client program was launched, so the service's status may have changed.
    virtual void updateStatus() = 0;
};

} // namespace kvn
