// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

namespace kvn::host {

/// A login session and the user that it belongs to.
struct LoginSession {
    std::uint64_t identifier = 0;
    std::string userName;
};

/// Returns information about login sessions. Any thread.
class SessionInfo {
public:
    virtual ~SessionInfo() = default;

    /// Returns the session of the calling process.
    virtual LoginSession ownSession() const = 0;
};

} // namespace kvn::host
