// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"

#include <csignal>

namespace kvn::host {

/// Catches one signal; the destructor restores its former action. The handler only sets a flag and wakes the
/// pipe's reader. Only one inbox may exist for a signal. One thread.
class SignalInbox {
public:
    SignalInbox(int signal, Kvs::WakePipe& wakePipe);
    ~SignalInbox();
    SignalInbox(const SignalInbox&) = delete;
    SignalInbox& operator=(const SignalInbox&) = delete;

    /// Returns true if the signal came since the last call.
    bool take();

private:
    const int signal_;
    struct sigaction previous_ {};
};

/// Blocks all signals on this thread for a scope, for libraries that fail when a signal interrupts them. A
/// thread that is started in the scope keeps them blocked. The signals go to other threads, or are delivered
/// after the scope.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t former_;
};

} // namespace kvn::host
