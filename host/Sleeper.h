// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>

namespace kvn::host {

/// Waits, on any thread but the main one.
class Sleeper {
public:
    virtual ~Sleeper() = default;

    /// Blocks the caller for the duration; returns early when the program is about to end.
    virtual void sleepFor(std::chrono::milliseconds duration) = 0;
};

} // namespace kvn::host
