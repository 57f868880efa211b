#pragma once

#include "host/SystemInfo.h"

namespace kvn::host {

class LinuxSystemInfo final : public SystemInfo {
public:
    /// Time spent asleep counts.
    std::chrono::seconds upTime() const override;

    /// As the environment's locale has them.
    std::vector<std::string> preferredLanguages() const override;

    /// Always: the rules for old releases are those of another system.
    bool isOperatingSystemAtLeast(int, int, int) const override { return true; }
};

} // namespace kvn::host
