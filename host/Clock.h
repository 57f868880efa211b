#pragma once

#include <chrono>

namespace kvn::host {

/// The time. Any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// The wall clock.
    virtual std::chrono::system_clock::time_point now() const = 0;

    /// A clock that never jumps, for measuring how long ago something was.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

} // namespace kvn::host
