#pragma once

#include "host/PrivilegedJobs.h"

#include <cstdint>

namespace kvn::host {

/// Result codes of the Security framework (Authorization.h), besides `PrivilegedJobs::kCanceled`.
inline constexpr std::int32_t kAuthorizationDenied = -60005;
inline constexpr std::int32_t kAuthorizationInteractionNotAllowed = -60007;
inline constexpr std::int32_t kAuthorizationInternal = -60008;

} // namespace kvn::host
