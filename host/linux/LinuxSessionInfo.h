#pragma once

#include "host/SessionInfo.h"

#include <optional>
#include <string_view>

namespace kvn::host {

/// The audit session that the login set; without one, the POSIX session. Neither changes while the
/// process runs, so they are asked for once.
class LinuxSessionInfo final : public SessionInfo {
public:
    LinuxSessionInfo();
    LoginSession ownSession() const override { return own_; }

private:
    LoginSession own_;
};

/// Reads the content of /proc/self/sessionid; nothing when no login has set it.
std::optional<std::uint64_t> parseAuditSession(std::string_view text);

} // namespace kvn::host
