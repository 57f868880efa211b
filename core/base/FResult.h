#pragma once

#include <cstdint>
#include <limits>

namespace Kvs {

/// Result of an operation: 0 is success, a positive value the `errno` of a failed system call, a
/// negative one a failure of the layer itself. Callers of the service-control client treat only a
/// negative value as a failed request.
using FResult = std::int32_t;

inline constexpr FResult kSuccess = 0;
inline constexpr FResult kFailure = std::numeric_limits<FResult>::min();          // 0x80000000
inline constexpr FResult kInvalidState = std::numeric_limits<FResult>::min() + 1; // 0x80000001

} // namespace Kvs
