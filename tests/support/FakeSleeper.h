// SPDX-License-Identifier: MIT

#pragma once

#include "host/Sleeper.h"

#include <mutex>
#include <vector>

namespace kvn::test {

/// Notes how long it was to sleep, and returns at once. Any thread.
class FakeSleeper : public host::Sleeper {
public:
    void sleepFor(std::chrono::milliseconds duration) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        slept_.push_back(duration);
    }

    std::vector<std::chrono::milliseconds> slept() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return slept_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::chrono::milliseconds> slept_;
};

} // namespace kvn::test
