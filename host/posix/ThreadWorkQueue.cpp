// SPDX-License-Identifier: MIT

#include "host/posix/ThreadWorkQueue.h"

#include "core/logging/CNSLog.h"
#include "host/posix/Signals.h"

#include <system_error>
#include <utility>

namespace kvn::host {

using Kvs::FLockGuard;

void ThreadWorkQueue::post(Job job) {
    FLockGuard guard(lock_);
    if (ended_) {
        return;
    }
    jobs_.push_back(std::move(job));
    changed_.notify_one();
    if (!thread_.joinable()) {
        const SignalsBlocked blocked;
        try {
            thread_ = std::thread([this] { work(); });
        } catch (const std::system_error& error) {
            Kvs::CNSLog("Failed to start the background thread, the next job tries again: %s", error.what());
        }
    }
}

void ThreadWorkQueue::end() {
    std::deque<Job> dropped; // destroyed after the lock is released: an object in a job may call the queue
    std::thread thread;
    {
        FLockGuard guard(lock_);
        ended_ = true;
        dropped.swap(jobs_);
        thread.swap(thread_);
        changed_.notify_one();
    }
    // Joined without the lock, which the thread takes after each job.
    if (thread.joinable()) {
        thread.join();
    }
}

void ThreadWorkQueue::work() {
    for (;;) {
        Job job;
        {
            FLockGuard guard(lock_);
            while (jobs_.empty() && !ended_) {
                changed_.wait(lock_);
            }
            if (ended_) {
                return;
            }
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

} // namespace kvn::host
