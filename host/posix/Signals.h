// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <csignal>

namespace kvn::host {

/// Implements `MainLoop::onSignal` by the loop's `watchReadable`. Throws FException when the process has no
/// descriptors left.
MainLoop::Handle watchSignal(MainLoop& loop, int signal, MainLoop::Task task);

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
