#pragma once

#include "core/system/WakePipe.h"

#include <csignal>

namespace kvn::host {

/// Catches one signal in place of its present action, which comes back at the end. The handler only
/// takes a note and wakes the pipe's reader. One inbox a signal at a time. One thread.
class SignalInbox {
public:
    SignalInbox(int signal, Kvs::WakePipe& wakePipe);
    ~SignalInbox();
    SignalInbox(const SignalInbox&) = delete;
    SignalInbox& operator=(const SignalInbox&) = delete;

    /// Whether the signal came since the last call.
    bool take();

private:
    const int signal_;
    struct sigaction previous_ {};
};

} // namespace kvn::host
