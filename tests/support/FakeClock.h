#pragma once

#include "host/Clock.h"

#include <atomic>
#include <chrono>

namespace kvn::test {

/// A clock that stands still until a test moves it. Any thread.
class FakeClock : public host::Clock {
public:
    /// Starts on 2024-03-07 at 09:05:02 UTC, well after the beginning of the steady clock.
    std::chrono::system_clock::time_point now() const override {
        return std::chrono::system_clock::time_point(std::chrono::milliseconds(wall_));
    }
    std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::time_point(std::chrono::milliseconds(steady_));
    }

    void advance(std::chrono::milliseconds by) {
        wall_ += by.count();
        steady_ += by.count();
    }

    /// Sets the wall clock, as a user or a time server does; the steady clock does not notice.
    void setNow(std::chrono::system_clock::time_point now) {
        wall_ = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    }

private:
    std::atomic<std::chrono::milliseconds::rep> wall_ = 1709802302000;
    std::atomic<std::chrono::milliseconds::rep> steady_ = 1000000;
};

} // namespace kvn::test
