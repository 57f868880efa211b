// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/ThreadAnnotations.h"

#include <pthread.h>

namespace Kvs {

template <class Mutex>
class FThreadLock_T;

/// A recursive lock: an object's methods may call each other, and handlers may re-enter, on one thread.
template <>
class KVS_CAPABILITY("mutex") FThreadLock_T<pthread_mutex_t> {
public:
    FThreadLock_T() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~FThreadLock_T() { pthread_mutex_destroy(&mutex_); }
    FThreadLock_T(const FThreadLock_T&) = delete;
    FThreadLock_T& operator=(const FThreadLock_T&) = delete;

    void lock() KVS_ACQUIRE() { pthread_mutex_lock(&mutex_); }
    void unlock() KVS_RELEASE() { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_;
};

template <class Mutex>
class FThreadPseudoLock_T;

/// The lock policy of components that only one thread at a time uses. Locking does nothing.
template <>
class KVS_CAPABILITY("mutex") FThreadPseudoLock_T<pthread_mutex_t> {
public:
    void lock() KVS_ACQUIRE() {}
    void unlock() KVS_RELEASE() {}
};

using FThreadLock = FThreadLock_T<pthread_mutex_t>;
using FThreadPseudoLock = FThreadPseudoLock_T<pthread_mutex_t>;

/// Holds a lock for a scope.
template <class Lock = FThreadLock>
class KVS_SCOPED_CAPABILITY TFLockGuard {
public:
    explicit TFLockGuard(Lock& lock) KVS_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    ~TFLockGuard() KVS_RELEASE() { lock_.unlock(); }
    TFLockGuard(const TFLockGuard&) = delete;
    TFLockGuard& operator=(const TFLockGuard&) = delete;

private:
    Lock& lock_;
};

using FLockGuard = TFLockGuard<FThreadLock>;

/// The transaction policy of the streams: owns the lock that is held during each operation.
template <class Lock>
class TFThreadSafeTransaction {
public:
    template <class Operation>
    auto perform(Operation operation) {
        TFLockGuard<Lock> guard(lock_);
        return operation();
    }

private:
    Lock lock_;
};

} // namespace Kvs
