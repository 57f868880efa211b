// SPDX-License-Identifier: MIT

#pragma once

#include "host/Clock.h"

#include <atomic>
#include <chrono>

namespace kvn::test {

/// A clock that stands still until a test moves it. Any thread.
class FakeClock : public host::Clock {
public:
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(steady_));
    }

    void advance(std::chrono::milliseconds by) { steady_ += by.count(); }

private:
    std::atomic<std::chrono::milliseconds::rep> steady_ = 1000000;
};

} // namespace kvn::test
