// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>

namespace kvn::host {

/// A clock that never jumps, for measuring how long ago something was. Any thread.
class Clock {
public:
    virtual ~Clock() = default;

    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

} // namespace kvn::host
