#pragma once

#include "remote/platform/OFRRecords.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvn {

class RemoteServiceConnector;

/// The owner of a connector, told of what concerns it. Main thread unless noted.
class RemoteServiceConnectorDelegate {
public:
    virtual ~RemoteServiceConnectorDelegate() = default;

    /// The service answered the registration.
    virtual void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector& connector,
                                                                 const OFRRequestResult& result) = 0;

    /// A request failed.
    virtual void serviceConnectorFailedWithError(RemoteServiceConnector& connector, std::int32_t code,
                                                 const std::string& description) = 0;

    /// A pipe to the service broke: a service that comes back does not know this agent.
    virtual void serviceConnectorLostConnection(RemoteServiceConnector& connector) = 0;

    /// Asked before a client program is launched; false means that the delegate has dealt with it.
    /// On a reader thread: must not wait for the main thread.
    virtual bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector& connector,
                                                           const std::string& executable,
                                                           const std::vector<std::string>& arguments) = 0;

    /// A client program was launched: the status is worth asking for.
    virtual void updateStatus() = 0;
};

} // namespace kvn
