// SPDX-License-Identifier: MIT

#include "core/threads/FThread.h"

namespace Kvs {

FThread::~FThread_T() {
    FLockGuard guard(lock_);
    detachRunning();
}

bool FThread::execute(std::unique_ptr<FInvokable<void>> work) {
    // Held while the thread is created: the work may call isCurrent() at once, which has to find thread_ set.
    FLockGuard guard(lock_);
    detachRunning();
    started_ = pthread_create(&thread_, nullptr, thread_redir_point, work.get()) == 0;
    if (started_) {
        static_cast<void>(work.release()); // the thread owns it now
    }
    return started_;
}

void FThread::setJoinable(bool joinable) {
    FLockGuard guard(lock_);
    joinable_ = joinable;
}

void FThread::join() {
    pthread_t thread{};
    {
        FLockGuard guard(lock_);
        if (!joinable_ || isCurrent()) {
            return;
        }
        // POSIX lets a thread be joined only once, so further callers wait for the first one. A single level
        // of the recursive lock is held here, as wait() needs: isCurrent() has released its own.
        while (joining_) {
            joined_.wait(lock_);
        }
        if (!started_) {
            return;
        }
        // From here on the thread is this call's: the destructor and execute() must not detach it any more.
        thread = thread_;
        started_ = false;
        joining_ = true;
    }
    // Without the lock, since the work may call isCurrent() or join() before it ends.
    pthread_join(thread, nullptr);
    FLockGuard guard(lock_);
    joining_ = false;
    joined_.notify_all();
}

bool FThread::isCurrent() {
    FLockGuard guard(lock_);
    return (started_ || joining_) && pthread_equal(thread_, pthread_self());
}

void FThread::detachRunning() {
    if (started_) {
        pthread_detach(thread_);
        started_ = false;
    }
}

void* FThread::thread_redir_point(void* startBlock) {
    std::unique_ptr<FInvokable<void>> work(static_cast<FInvokable<void>*>(startBlock));
    work->invoke();
    return nullptr;
}

} // namespace Kvs
