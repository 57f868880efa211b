#pragma once

#include <chrono>

namespace kvn::host {

/// Facts about the machine. Any thread.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;

    /// Time since the system started.
    virtual std::chrono::seconds upTime() const = 0;
};

} // namespace kvn::host
