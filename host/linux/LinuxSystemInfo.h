#pragma once

#include "host/SystemInfo.h"

namespace kvn::host {

class LinuxSystemInfo final : public SystemInfo {
public:
    /// Time spent asleep counts.
    std::chrono::seconds upTime() const override;
};

} // namespace kvn::host
