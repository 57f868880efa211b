#pragma once

#include "host/SessionInfo.h"

#include <optional>
#include <string_view>

namespace kvn::host {

/// The audit session that the login set, or the POSIX session without one. Read once, because neither changes
/// while the process runs.
class LinuxSessionInfo final : public SessionInfo {
public:
    LinuxSessionInfo();
    LoginSession ownSession() const override { return own_; }

private:
    LoginSession own_;
};

/// Reads the content of /proc/self/sessionid; nullopt when no login has set it.
std::optional<std::uint64_t> parseAuditSession(std::string_view text);

} // namespace kvn::host
