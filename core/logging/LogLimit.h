// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace Kvs {

/// Bounds how fast a log grows, whoever makes it grow: at most `kBytes` are admitted in each period, and in a
/// minute less than 5 MB. A normal day's lines are far fewer, bursts included. A period begins when the
/// former one is over and its bytes are used up; the clock is therefore read only then. Used by one thread at
/// a time.
class LogLimit {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr std::size_t kBytes = 700'000;
    static constexpr std::chrono::seconds kPeriod{10};

    explicit LogLimit(Clock clock = std::chrono::steady_clock::now)
        : clock_(std::move(clock)), periodBegin_(clock_()) {}

    /// Returns true if a line of this size may be written. Otherwise the line is counted and all lines are
    /// left out until the period is over. Sets `notice`, which is empty before, to a text that has to be
    /// logged first: at the first line that is left out, and, with their number, at the first one that no
    /// longer is.
    bool admits(std::size_t size, std::string& notice) {
        if (size <= left_) {
            left_ -= size;
            return true;
        }
        return admitsInNewPeriod(size, notice);
    }

private:
    bool admitsInNewPeriod(std::size_t size, std::string& notice);

    Clock clock_;
    std::chrono::steady_clock::time_point periodBegin_;
    std::size_t left_ = kBytes;
    std::uint64_t leftOut_ = 0; // lines that no notice has counted
};

} // namespace Kvs
