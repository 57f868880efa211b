// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>

namespace kvn::test {

/// Records the longest time for which a running main loop did not come to a timer of 1 ms. The time in which
/// the thread waited for a processor does not count: a busy machine holds any thread. Main thread.
class LoopGap {
public:
    explicit LoopGap(host::MainLoop& loop)
        : timer_(loop.startTimer(std::chrono::milliseconds(1), [this] {
              longest_ = longest();
              last_ = now();
              ++ticks_;
          })) {}
    LoopGap(const LoopGap&) = delete;
    LoopGap& operator=(const LoopGap&) = delete;

    std::chrono::milliseconds longest() const {
        return std::max(longest_, std::chrono::duration_cast<std::chrono::milliseconds>(now() - last_));
    }
    int ticks() const { return ticks_; }

private:
    /// Returns the time without what the thread has waited for a processor, where the system counts that.
    static std::chrono::nanoseconds now() {
        std::int64_t ran = 0;
        std::int64_t waited = 0;
        std::ifstream("/proc/thread-self/schedstat") >> ran >> waited;
        return std::chrono::steady_clock::now().time_since_epoch() - std::chrono::nanoseconds(waited);
    }

    std::chrono::nanoseconds last_ = now();
    std::chrono::milliseconds longest_{0};
    int ticks_ = 0;
    host::MainLoop::Handle timer_;
};

} // namespace kvn::test
