// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace Kvs {

/// Bounds how much log a service can cause: 64 KB a second (4 MB a minute), and 64 KB at once after a quiet
/// time. Any thread.
class LogAllowance {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// Takes the bytes that were logged. Returns how long to wait before anything else is logged.
    std::chrono::milliseconds take(std::size_t bytes, Instant now) {
        FLockGuard guard(lock_);
        repaid_ = std::max(repaid_, now - kQuietTime) + bytes * kTimeForAByte;
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(repaid_ - now),
                        std::chrono::milliseconds(0));
    }

private:
    static constexpr std::chrono::seconds kQuietTime{1};
    static constexpr std::chrono::nanoseconds kTimeForAByte{1'000'000'000 / 65'536};

    FThreadLock lock_;
    Instant repaid_ KVS_GUARDED_BY(lock_); // when the bytes that were taken are paid for
};

} // namespace Kvs
