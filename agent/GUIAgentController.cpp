#include "agent/GUIAgentController.h"

#include "core/logging/CNSLog.h"

namespace kvn {

using Kvs::OCNSLog;

GUIAgentController::GUIAgentController(const RemoteServiceConnector::Environment& environment,
                                       const host::Clock& clock, ServiceStatusView* statusView)
    : AgentController(environment, clock), bundle_(environment.bundle), statusView_(statusView) {
    setControllerDelegate(this);
}

void GUIAgentController::showServiceStatus() {
    requestServiceStatus();
    if (!statusView_) {
        return;
    }
    if (!anyStateArrived_) {
        statusView_->showStatus(bundle_.localizedString("StatusPending"), nullptr);
        return;
    }
    const OFRServiceInfo* info = lastServiceState_ ? &*lastServiceState_ : nullptr;
    statusView_->showStatus(stateText(info), info);
}

std::string GUIAgentController::stateText(const OFRServiceInfo* info) const {
    return OFRServiceInfo::serviceStateAsString(info ? info->status : OFRServiceInfo::Offline, bundle_);
}

void GUIAgentController::notifyServiceStatus(const OFRServiceInfo* info) {
    const std::int32_t state = info ? info->status : OFRServiceInfo::Offline;
    const std::string text = stateText(info);
    if (statusView_) {
        statusView_->showStatus(text, info);
    }
    // No previous state counts as online, so that a first "online" is not worth a line.
    const std::int32_t previous = lastServiceState_ ? lastServiceState_->status : OFRServiceInfo::Online;
    if (state != previous && info) {
        OCNSLog("RemoteService status: %@, server:%@, registration:%@", text, info->server,
                info->registration);
    } else if (state != previous) {
        OCNSLog("RemoteService status: %@", text);
    }
    lastServiceState_ = info ? std::optional(*info) : std::nullopt;
    anyStateArrived_ = true;
}

void GUIAgentController::notifyRequestFailedWithError(const std::string& text, std::int32_t code) {
    constexpr std::int32_t kLow31Bits = 0x7FFFFFFF; // a layer's own failure has no error number there
    if ((code & kLow31Bits) == 0) {
        OCNSLog("%@", text);
    } else {
        OCNSLog("%@ (%d)", text, code);
    }
}

} // namespace kvn
