// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"

#include <condition_variable>
#include <memory>
#include <pthread.h>

namespace Kvs {

/// A unit of work that a thread can run.
template <class R>
class FInvokable {
public:
    virtual R invoke() const = 0;
    virtual ~FInvokable() = default;
};

template <class Handle>
class FThread_T;

/// Runs work on a new thread. Destroying the record, or starting new work on it, detaches a thread that
/// still runs. Only a record marked joinable can be waited for. Any thread.
template <>
class FThread_T<pthread_t> {
public:
    FThread_T() = default;
    ~FThread_T();
    FThread_T(const FThread_T&) = delete;
    FThread_T& operator=(const FThread_T&) = delete;

    /// Returns false if no thread could be started. The work is deleted after it has run.
    bool execute(std::unique_ptr<FInvokable<void>> work);

    void setJoinable(bool joinable);

    /// Waits for the running job if the record is joinable. Several threads may join at once; no thread may
    /// start new work until all of them have returned. Does nothing on the job's own thread.
    void join();

    /// Returns true on the thread that this record has started.
    bool isCurrent();

private:
    void detachRunning() KVS_REQUIRES(lock_);
    static void* thread_redir_point(void* startBlock);

    FThreadLock lock_;
    pthread_t thread_ KVS_GUARDED_BY(lock_){};
    bool started_ KVS_GUARDED_BY(lock_) = false; // thread_ is valid: neither joined nor detached yet
    bool joining_ KVS_GUARDED_BY(lock_) = false; // a thread waits for the end of thread_
    std::condition_variable_any joined_;
    bool joinable_ KVS_GUARDED_BY(lock_) = false;
};

using FThread = FThread_T<pthread_t>;

} // namespace Kvs
