#include "remote/platform/OFRRecords.h"

namespace kvn {

std::string OFRServiceInfo::serviceStateAsString(std::int32_t state, const host::Bundle& bundle) {
    switch (state) {
    case Online:
        return bundle.localizedString("StatusOnline");
    case Paused:
        return bundle.localizedString("StatusPaused");
    case Initial:
        return bundle.localizedString("StatusInitial");
    default:
        return bundle.localizedString("StatusOffline");
    }
}

std::string OFRServiceInfo::description(const host::Bundle& bundle) const {
    std::string text = "ServiceStatus: " + serviceStateAsString(status, bundle);
    if (!server.empty()) {
        text += " server: " + server;
    }
    return text;
}

} // namespace kvn
