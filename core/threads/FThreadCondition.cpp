// SPDX-License-Identifier: MIT

#include "core/threads/FThreadCondition.h"

#include <cerrno>

namespace Kvs {

FThreadCondition::~FThreadCondition_T() {
    pthread_cond_destroy(&handle_.condition);
    pthread_mutex_destroy(&handle_.mutex);
}

void FThreadCondition::signal() {
    // The broadcast is made under the mutex, because a waiter that finds the flag may destroy the condition:
    // it cannot return before the mutex is free, when the broadcast is over.
    pthread_mutex_lock(&handle_.mutex);
    handle_.signalled = true;
    pthread_cond_broadcast(&handle_.condition);
    pthread_mutex_unlock(&handle_.mutex);
}

void FThreadCondition::clear() {
    pthread_mutex_lock(&handle_.mutex);
    handle_.signalled = false;
    pthread_mutex_unlock(&handle_.mutex);
}

timespec fDeadlineAfter(const timeval& now, unsigned int milliseconds) {
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(milliseconds / 1000);
    long microseconds = static_cast<long>(now.tv_usec) + static_cast<long>(milliseconds % 1000) * 1000;
    if (microseconds >= 1'000'000) {
        microseconds -= 1'000'000;
        ++deadline.tv_sec;
    }
    deadline.tv_nsec = microseconds * 1000;
    return deadline;
}

FCondWait fCondTimedWait(F_COND_HANDLE& condition, unsigned int milliseconds) {
    timeval now{};
    gettimeofday(&now, nullptr);
    const timespec deadline = fDeadlineAfter(now, milliseconds);
    if (pthread_mutex_lock(&condition.mutex) != 0) {
        return kCondError;
    }
    int error = 0;
    // A wake-up without the flag is spurious; the deadline stays the same.
    while (!condition.signalled && (error == 0 || error == EINTR)) {
        error = pthread_cond_timedwait(&condition.condition, &condition.mutex, &deadline);
    }
    const bool signalled = condition.signalled;
    if (pthread_mutex_unlock(&condition.mutex) != 0) {
        return kCondError;
    }
    if (signalled && error == 0) {
        return kCondSignalled;
    }
    return error == ETIMEDOUT ? kCondTimedOut : kCondError;
}

} // namespace Kvs
