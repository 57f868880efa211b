// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <poll.h>
#include <span>

namespace kvn::host {

/// The time at which a wait ends; nullopt for a wait without a limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

inline Deadline deadlineIn(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

/// Calls poll(2), again after a signal. Returns the number of descriptors that are ready, 0 after the
/// deadline, or -1 with `errno` set. Negative descriptors are left out and have no events. Any thread.
int pollUntil(std::span<pollfd> descriptors, Deadline deadline);

/// Ends the waits of threads that block in poll(2), when the program is about to end. Cannot be undone. Any
/// thread.
class EndSignal {
public:
    void raise() {
        raised_ = true;
        pipe_.wake();
    }
    bool isRaised() const { return raised_; }

    /// Returns the descriptor to poll. It is readable from `raise` on.
    int descriptor() const { return pipe_.descriptor(); }

private:
    Kvs::WakePipe pipe_;
    std::atomic<bool> raised_ = false;
};

} // namespace kvn::host
