#pragma once

#include "agent/ServiceStatusView.h"
#include "remote/platform/AgentController.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kvn {

/// The agent controller of the application: turns what it learns of the service into what the user
/// sees. Main thread.
class GUIAgentController final : public AgentController, private AgentControllerDelegate {
public:
    /// `statusView` may be null; it outlives the controller.
    GUIAgentController(const RemoteServiceConnector::Environment& environment, const host::Clock& clock,
                       ServiceStatusView* statusView);

    /// Asks for the status, and shows the last one meanwhile.
    void showServiceStatus();

private:
    void notifyServiceStatus(const OFRServiceInfo* info) override;
    std::string stateText(const OFRServiceInfo* info) const;
    void notifyRequestFailedWithError(const std::string& text, std::int32_t code) override;

    const host::Bundle& bundle_;
    ServiceStatusView* statusView_;
    std::optional<OFRServiceInfo> lastServiceState_;
    bool anyStateArrived_ = false; // a failure to get one counts
};

} // namespace kvn
