#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvn::daemon {

/// One connection of the service to its server, as a status tells it.
struct Proxy {
    std::string name;
    std::string value;
    std::string server;
    std::string time;
    std::string priority;
};

/// What the service says about itself.
struct ServiceState {
    std::string word = "online"; ///< "online", "offline" or "paused"
    std::string server = "relay01";
    std::string version = "5.0.1";
    std::string registration = "Sandbox";
    std::string lastError;
    std::string sessions; ///< where remote sessions run, items separated by ","
    std::vector<Proxy> proxies = {{"default", "1", "relay01", "12:00:00", "1"}};
};

/// The service's messages. A request identifier of 0 is left out.
std::string statusMessage(const ServiceState& state, std::int64_t requestId);
std::string serverStatusMessage(const ServiceState& state);
std::string requestResultMessage(std::int64_t requestId, int statusCode);
std::string serviceCommandMessage(const std::string& command, const std::string& executable,
                                  const std::string& parameters);

} // namespace kvn::daemon
