#pragma once

#include <chrono>

namespace kvn::host {

/// Reads the time. Any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// Returns the time of the wall clock.
    virtual std::chrono::system_clock::time_point now() const = 0;

    /// Returns the time of a clock that never jumps, to measure how long ago something was.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

} // namespace kvn::host
