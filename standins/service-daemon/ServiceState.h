// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

namespace kvn::daemon {

/// The state that the service reports.
struct ServiceState {
    std::string word = "online"; ///< "online", "offline" or "paused"
    std::string server = "relay01";
    std::string registration = "Sandbox";
    std::string lastError;
    std::string sessions; ///< the login sessions in which remote sessions run, separated by ","
};

/// These return the service's messages. A request identifier of 0 is left out. A status reports one active
/// proxy.
std::string statusMessage(const ServiceState& state, std::int64_t requestId);
std::string serverStatusMessage(const ServiceState& state);
std::string requestResultMessage(std::int64_t requestId, int statusCode);

/// Returns the command to launch a program with these arguments.
std::string executeMessage(const std::string& program, const std::string& arguments);

} // namespace kvn::daemon
