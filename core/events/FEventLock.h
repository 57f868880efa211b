// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/ThreadAnnotations.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace Kvs {

/// A recursive lock that knows if another thread waits for it, so that the last thread to use an object can
/// delete it together with the lock. Locking and unlocking cost one atomic operation each while no thread
/// waits.
class KVS_CAPABILITY("mutex") FEventLock {
public:
    FEventLock() = default;
    FEventLock(const FEventLock&) = delete;
    FEventLock& operator=(const FEventLock&) = delete;

    void lock() KVS_ACQUIRE() {
        const void* self = currentThread();
        // Relaxed is enough: only this thread ever stores its own mark, and takes it back before it unlocks.
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++reentries_;
            return;
        }
        // The claim comes first, so that an owner that unlocks now sees it and gives a turn. Without other
        // claims the lock is free, and acquire shows this thread everything that earlier owners wrote.
        if (claims_.fetch_add(1, std::memory_order_acquire) > 0) {
            waitForTurn();
        }
        owner_.store(self, std::memory_order_relaxed);
    }

    /// Returns true if no thread holds the lock or waits for it now. The caller may then delete it if it
    /// knows that no other thread will lock it.
    bool unlock() KVS_RELEASE() {
        if (reentries_ > 0) {
            --reentries_;
            return false;
        }
        // The mark is removed before the claim: once the claim is removed, the next owner stores its own
        // mark.
        owner_.store(nullptr, std::memory_order_relaxed);
        // Release for the next owner; acquire for a caller that deletes what other threads have written.
        if (claims_.fetch_sub(1, std::memory_order_acq_rel) > 1) {
            giveTurn();
            return false;
        }
        return true;
    }

private:
    static const void* currentThread() {
        thread_local const char mark = 0;
        return &mark;
    }

    void waitForTurn() {
        std::unique_lock<std::mutex> guard(mutex_);
        changed_.wait(guard, [this] { return turns_ > 0; });
        --turns_;
    }

    // The turn is counted, since the thread that it is for may not have reached its wait yet. The mutex is
    // held over the notification, because that thread may delete the lock as soon as it gets the mutex.
    void giveTurn() {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++turns_;
        changed_.notify_one();
    }

    std::atomic<const void*> owner_{nullptr};
    std::atomic<int> claims_{0}; // threads that hold the lock or wait for it
    int reentries_ = 0;          // how often the owner has locked it again
    int turns_ = 0;              // given and not yet taken; guarded by mutex_
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace Kvs
