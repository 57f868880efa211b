// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace kvn::host {

// A descriptor of a process always refers to this process, while a process number may be reused. Some C
// libraries do not declare these two functions for C++.

/// Returns a descriptor of the process; an empty one, with `errno` set, when there is no such process or the
/// kernel is older than 5.3. poll(2) finds it readable once the process has ended. Any thread.
inline Kvs::FileDescriptor openProcess(pid_t process) {
    return Kvs::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

/// Returns false, with `errno` set, on failure. Any thread.
inline bool sendSignal(const Kvs::FileDescriptor& process, int signal) {
    return ::syscall(SYS_pidfd_send_signal, process.get(), signal, nullptr, 0) == 0;
}

} // namespace kvn::host
