// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/WorkQueue.h"

#include <condition_variable>
#include <deque>
#include <thread>

namespace kvn::host {

/// Runs the jobs on one thread with all signals blocked; the first job starts it.
class ThreadWorkQueue final : public WorkQueue {
public:
    ThreadWorkQueue() = default;
    ~ThreadWorkQueue() override { end(); }
    ThreadWorkQueue(const ThreadWorkQueue&) = delete;
    ThreadWorkQueue& operator=(const ThreadWorkQueue&) = delete;

    void post(Job job) override;

    /// Drops the jobs that have not begun, and later ones, and waits for the one in progress. Main thread.
    void end();

private:
    void work();

    Kvs::FThreadLock lock_;
    std::condition_variable_any changed_;
    std::deque<Job> jobs_ KVS_GUARDED_BY(lock_);
    bool ended_ KVS_GUARDED_BY(lock_) = false;
    std::thread thread_ KVS_GUARDED_BY(lock_);
};

} // namespace kvn::host
