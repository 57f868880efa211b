#pragma once

#include <csignal>

namespace kvn::host {

/// Keeps signals away from this thread for a scope, for libraries that fail when a signal interrupts
/// them. A thread that is started in the scope keeps it up. The signals come to other threads, or later.
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
