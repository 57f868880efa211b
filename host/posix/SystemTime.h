// SPDX-License-Identifier: MIT

#pragma once

#include "host/Clock.h"
#include "host/Sleeper.h"
#include "host/posix/PollUntil.h"

namespace kvn::host {

/// The steady clock of the C++ library.
class SystemClock final : public Clock {
public:
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::now();
    }
};

/// Sleeps; the end of the program ends every sleep.
class InterruptibleSleeper final : public Sleeper {
public:
    void sleepFor(std::chrono::milliseconds duration) override {
        pollfd end{end_.descriptor(), POLLIN, 0};
        pollUntil({&end, 1}, deadlineIn(duration));
    }

    /// Ends the sleeps in progress and all later ones. Any thread.
    void interrupt() { end_.raise(); }

private:
    EndSignal end_;
};

} // namespace kvn::host
