// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <algorithm>
#include <chrono>

namespace kvn::test {

/// Records the longest time for which a running main loop did not come to a timer of 1 ms. Main thread.
class LoopGap {
public:
    explicit LoopGap(host::MainLoop& loop)
        : timer_(loop.startTimer(std::chrono::milliseconds(1), [this] {
              longest_ = longest();
              last_ = std::chrono::steady_clock::now();
              ++ticks_;
          })) {}
    LoopGap(const LoopGap&) = delete;
    LoopGap& operator=(const LoopGap&) = delete;

    std::chrono::milliseconds longest() const {
        return std::max(longest_, std::chrono::duration_cast<std::chrono::milliseconds>(
                                      std::chrono::steady_clock::now() - last_));
    }
    int ticks() const { return ticks_; }

private:
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
    std::chrono::milliseconds longest_{0};
    int ticks_ = 0;
    host::MainLoop::Handle timer_;
};

} // namespace kvn::test
