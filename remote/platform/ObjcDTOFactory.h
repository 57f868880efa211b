#pragma once

#include "remote/FRRecords.h"
#include "remote/platform/OFRRecords.h"

namespace kvn {

/// Converts the client's records, field by field, into the application's. Any thread.
class ObjcDTOFactory {
public:
    static OFRRequestResult convertRequestResult(const Kvs::_FRRequestResult& record);
    static OFRProxyInfo convertProxyInfo(const Kvs::_FRProxyInfo& record);
    static OFRServiceInfo convertFRServiceInfo(const Kvs::_FRServiceInfo& record);
    static OFRProxyStatus convertProxyStatus(const Kvs::_FRProxyStatus& record);
    static OFRServiceCommand convertFRServiceCommand(const Kvs::_FRServiceCommand& record);
};

} // namespace kvn
