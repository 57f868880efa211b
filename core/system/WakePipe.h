// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

namespace Kvs {

/// Wakes a thread that sleeps in poll(2): the sleeper polls `descriptor` along with its own descriptors.
/// Close-on-exec and non-blocking.
class WakePipe {
public:
    /// Throws FException, with `errno` set, when the process has no descriptors left.
    WakePipe();

    /// Returns the descriptor to poll. It is readable from `wake` until `drain`.
    int descriptor() const { return readEnd_.get(); }

    /// May be called on any thread and in signal handlers. Keeps `errno`.
    void wake() const;

    /// Takes all wake-ups. Called on the thread that sleeps.
    void drain() const;

private:
    FileDescriptor readEnd_;
    FileDescriptor writeEnd_;
};

} // namespace Kvs
