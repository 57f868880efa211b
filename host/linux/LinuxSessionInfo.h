// SPDX-License-Identifier: MIT

#pragma once

#include "host/SessionInfo.h"

#include <optional>
#include <string_view>

namespace kvn::host {

/// The session is the audit session that the login has set, or the POSIX session without one. It is read
/// once, because neither changes while the process runs.
class LinuxSessionInfo final : public SessionInfo {
public:
    LinuxSessionInfo();
    LoginSession ownSession() const override { return own_; }

private:
    LoginSession own_;
};

/// Reads the content of /proc/self/sessionid. Returns nullopt when no login has set it.
std::optional<std::uint64_t> parseAuditSession(std::string_view text);

} // namespace kvn::host
