// SPDX-License-Identifier: MIT

#pragma once

#include "host/SessionInfo.h"
#include "host/SystemInfo.h"

namespace kvn::host {

class MacSystemInfo final : public SystemInfo {
public:
    /// Includes the time that the system was asleep.
    std::chrono::seconds upTime() const override;
    std::vector<std::string> preferredLanguages() const override;
    bool isOperatingSystemAtLeast(int major, int minor, int patch) const override;
};

class MacSessionInfo final : public SessionInfo {
public:
    /// Returns the audit session, and the name of the process's user.
    LoginSession ownSession() const override;
};

} // namespace kvn::host
