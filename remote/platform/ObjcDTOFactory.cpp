#include "remote/platform/ObjcDTOFactory.h"

#include "core/text/FGStr.h"

namespace kvn {

using Kvs::fNarrow;

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
    info.status = static_cast<std::int32_t>(record.status);
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
