// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/Clock.h"
#include "host/MainLoop.h"

#include <chrono>

namespace kvn {

/// Bounds the launches that the service requests: 32 within ten minutes, which persons who connect to one
/// machine do not reach. Logs when it begins to refuse, and how many it has refused when the ten minutes end.
/// Outlives the main loop's run.
class LaunchLimit {
public:
    LaunchLimit(host::MainLoop& mainLoop, const host::Clock& clock) : mainLoop_(mainLoop), clock_(clock) {}

    /// Returns true if one more client may be launched. Any thread.
    bool admit();

private:
    void reportRefused();

    host::MainLoop& mainLoop_;
    const host::Clock& clock_;
    Kvs::FThreadLock lock_;
    std::chrono::steady_clock::time_point periodEnd_ KVS_GUARDED_BY(lock_);
    int admitted_ KVS_GUARDED_BY(lock_) = 0; // in this period
    long refused_ KVS_GUARDED_BY(lock_) = 0; // since the last report
};

} // namespace kvn
