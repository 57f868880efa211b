// SPDX-License-Identifier: MIT

#include "remote/platform/OFRRecords.h"

#include "core/text/FGStr.h"

namespace kvn {

using Kvs::fNarrow;

std::string OFRServiceInfo::serviceStateAsString(ServiceState state, const host::Bundle& bundle) {
    switch (state) {
    case ServiceState::Online:
        return bundle.localizedString("StatusOnline");
    case ServiceState::Paused:
        return bundle.localizedString("StatusPaused");
    case ServiceState::Initial:
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

OFRRequestResult ObjcDTOFactory::convertRequestResult(const Kvs::_FRRequestResult& record) {
    return {record.requestId, record.statusCode};
}

OFRProxyInfo ObjcDTOFactory::convertProxyInfo(const Kvs::_FRProxyInfo& record) {
    return {fNarrow(record.name), fNarrow(record.server), fNarrow(record.time), fNarrow(record.priority),
            record.active};
}

OFRServiceInfo ObjcDTOFactory::convertFRServiceInfo(const Kvs::_FRServiceInfo& record) {
    OFRServiceInfo info;
    info.requestID = record.requestId;
    info.status = record.status;
    info.server = fNarrow(record.server);
    info.registration = fNarrow(record.registration);
    info.lastError = fNarrow(record.lastError);
    info.version = fNarrow(record.version);
    info.subProcessRunning = record.subProcessRunning;
    info.subProcessUser = fNarrow(record.subProcessUser);
    info.proxyInfos.reserve(record.proxyInfos.size());
    for (const Kvs::_FRProxyInfo& proxy : record.proxyInfos) {
        info.proxyInfos.push_back(convertProxyInfo(proxy));
    }
    return info;
}

OFRProxyStatus ObjcDTOFactory::convertProxyStatus(const Kvs::_FRProxyStatus& record) {
    return {record.requestId, fNarrow(record.status), fNarrow(record.lastError)};
}

OFRServiceCommand ObjcDTOFactory::convertFRServiceCommand(const Kvs::_FRServiceCommand& record) {
    return {record.requestId, fNarrow(record.command), fNarrow(record.executable),
            fNarrow(record.parameters)};
}

} // namespace kvn
