// SPDX-License-Identifier: MIT

#include "remote/platform/LaunchLimit.h"

#include "core/logging/CNSLog.h"

#include <utility>

namespace kvn {
namespace {

constexpr int kMostLaunches = 32;
constexpr std::chrono::minutes kPeriod{10};

} // namespace

bool LaunchLimit::admit() {
    const auto now = clock_.steadyNow();
    Kvs::FLockGuard guard(lock_);
    if (now >= periodEnd_) {
        periodEnd_ = now + kPeriod;
        admitted_ = 0;
    }
    if (admitted_ < kMostLaunches) {
        ++admitted_;
        return true;
    }
    if (refused_++ == 0) {
        Kvs::CNSLog("Too many launch requests: after %d no more are carried out for %.0f seconds",
                    kMostLaunches, std::chrono::duration<double>(periodEnd_ - now).count());
        mainLoop_.postAfter(std::chrono::ceil<std::chrono::milliseconds>(periodEnd_ - now),
                            [this] { reportRefused(); });
    }
    return false;
}

void LaunchLimit::reportRefused() {
    Kvs::FLockGuard guard(lock_);
    Kvs::CNSLog("Dropped launch requests: %ld", std::exchange(refused_, 0));
}

} // namespace kvn
