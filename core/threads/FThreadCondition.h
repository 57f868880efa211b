// SPDX-License-Identifier: MIT

#pragma once

#include <ctime>
#include <pthread.h>
#include <sys/time.h>

namespace Kvs {

/// A POSIX condition variable with its mutex and a signalled flag.
struct F_COND_HANDLE {
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    bool signalled = false; // guarded by mutex
};

template <class Handle>
class FThreadCondition_T;

/// A condition that also serves as a stop request: once signalled it stays so until cleared. Any thread.
template <>
class FThreadCondition_T<F_COND_HANDLE> {
public:
    FThreadCondition_T() = default;
    ~FThreadCondition_T();
    FThreadCondition_T(const FThreadCondition_T&) = delete;
    FThreadCondition_T& operator=(const FThreadCondition_T&) = delete;

    void signal();
    void clear();
    F_COND_HANDLE& handle() { return handle_; }

private:
    F_COND_HANDLE handle_;
};

using FThreadCondition = FThreadCondition_T<F_COND_HANDLE>;

/// The result of `fCondTimedWait`.
enum FCondWait : unsigned int { kCondTimedOut = 0, kCondSignalled = 1, kCondError = 2 };

/// Returns the time of day that is `milliseconds` after `now`.
timespec fDeadlineAfter(const timeval& now, unsigned int milliseconds);

/// Waits until the condition is signalled or the time has passed. 0 ms tests the condition without waiting.
FCondWait fCondTimedWait(F_COND_HANDLE& condition, unsigned int milliseconds);

} // namespace Kvs
