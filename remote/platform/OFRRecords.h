// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "remote/FRRecords.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvn {

using Kvs::RequestId;
using Kvs::ServiceState;

// The application's form of the service's records. Their texts are UTF-8, and they are not changed once
// `ObjcDTOFactory` has made them.

struct OFRProxyInfo {
    std::string name;
    std::string server;
    std::string time;
    std::string priority;
    bool active = false;
};

struct OFRServiceInfo {
    RequestId requestID = 0;
    ServiceState status = ServiceState::Offline;
    std::string server;
    std::string registration;
    std::string lastError;
    std::string version;
    bool subProcessRunning = false;
    std::string subProcessUser;
    std::vector<OFRProxyInfo> proxyInfos;

    /// Returns the state's text in the bundle's string table.
    static std::string serviceStateAsString(ServiceState state, const host::Bundle& bundle);

    /// Returns "ServiceStatus: STATE", with " server: SERVER" when a server is set.
    std::string description(const host::Bundle& bundle) const;
};

struct OFRProxyStatus {
    RequestId requestID = 0;
    std::string status;
    std::string lastError;
};

struct OFRServiceCommand {
    RequestId requestID = 0;
    std::string command;
    std::string executable;
    std::string parameters;
};

struct OFRRequestResult {
    RequestId requestID = 0;
    std::int32_t statusCode = 0;
};

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
