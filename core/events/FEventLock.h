#pragma once

#include "core/threads/ThreadAnnotations.h"

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace Kvs {

/// A recursive lock that knows whether anybody waits for it, so that the last to leave an object that
/// is no longer wanted can delete it, lock and all. Costs one atomic operation each way as long as
/// nobody waits.
class KVS_CAPABILITY("mutex") FEventLock {
public:
    FEventLock() = default;
    FEventLock(const FEventLock&) = delete;
    FEventLock& operator=(const FEventLock&) = delete;

    void lock() KVS_ACQUIRE() {
        const void* self = currentThread();
        if (owner_.load(std::memory_order_relaxed) == self) {
            ++reentries_;
            return;
        }
        if (claims_.fetch_add(1, std::memory_order_acquire) > 0) {
            waitForTurn();
        }
        owner_.store(self, std::memory_order_relaxed);
    }

    /// True when no thread holds the lock or waits for it now; the caller may then delete it if it knows
    /// that no other thread can come.
    bool unlock() KVS_RELEASE() {
        if (reentries_ > 0) {
            --reentries_;
            return false;
        }
        owner_.store(nullptr, std::memory_order_relaxed);
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

    // Everything happens under the mutex: the thread whose turn it is may delete the lock as soon as it is
    // free.
    void giveTurn() {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++turns_;
        changed_.notify_one();
    }

    std::atomic<const void*> owner_{nullptr};
    std::atomic<int> claims_{0}; // threads that hold the lock or wait for it
    int reentries_ = 0;          // of the owner, into what it holds already
    int turns_ = 0;              // given and not yet taken; guarded by mutex_
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace Kvs
