// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

namespace kvn::host {

/// Runs jobs that may block, in the order of the calls and one at a time, away from the main thread.
/// Jobs that have not begun when the queue is destroyed are dropped; the one in progress is waited for.
class WorkQueue {
public:
    using Job = std::function<void()>;

    virtual ~WorkQueue() = default;

    /// Adds a job. Any thread.
    virtual void post(Job job) = 0;
};

} // namespace kvn::host
