// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace sdbus {
class Error;
class IConnection;
} // namespace sdbus

namespace kvn::host {

/// The time limit for connecting to a bus, and for each call on it.
inline constexpr std::chrono::seconds kBusTimeLimit{1};

enum class Bus { Session, System };

/// Returns a connection with `kBusTimeLimit` set; null when there is no bus or it does not answer in time.
/// Use it under `SignalsBlocked`, because the library takes an interrupted call for a failed one. Any thread.
std::unique_ptr<sdbus::IConnection> connectToBus(Bus bus);

/// Returns the errno value for the error, EIO if no other fits.
std::int32_t busErrorCode(const sdbus::Error& error);

} // namespace kvn::host
