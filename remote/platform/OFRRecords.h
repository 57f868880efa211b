#pragma once

#include "host/Bundle.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvn {

/// The application's form of the service's records: UTF-8 texts, immutable once made by `ObjcDTOFactory`.

struct OFRProxyInfo {
    std::string name;
    std::string server;
    std::string time;
    std::string priority;
    bool active = false;
};

struct OFRServiceInfo {
    /// The values of `status`; any other value counts as offline.
    enum State : std::int32_t { Online = 0, Offline = 1, Paused = 2, Initial = 3 };

    std::uint32_t requestID = 0;
    std::int32_t status = Offline;
    std::string server;
    std::string registration;
    std::string lastError;
    std::string version;
    bool subProcessRunning = false;
    std::string subProcessUser;
    std::vector<OFRProxyInfo> proxyInfos;

    /// The state's text in the bundle's string table.
    static std::string serviceStateAsString(std::int32_t state, const host::Bundle& bundle);

    /// "ServiceStatus: STATE", with " server: SERVER" when a server is set.
    std::string description(const host::Bundle& bundle) const;
};

struct OFRProxyStatus {
    std::uint32_t requestID = 0;
    std::string status;
    std::string lastError;
};

struct OFRServiceCommand {
    std::uint32_t requestID = 0;
    std::string command;
    std::string executable;
    std::string parameters;
};

struct OFRRequestResult {
    std::uint32_t requestID = 0;
    std::int32_t statusCode = 0;
};

} // namespace kvn
