// SPDX-License-Identifier: MIT

#include "core/system/WakePipe.h"

#include "core/base/Errors.h"

#include <cerrno>
#include <fcntl.h>

namespace Kvs {

WakePipe::WakePipe() {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw FException("Wake-up pipe could not be made", "WakePipe()");
    }
    readEnd_ = FileDescriptor(ends[0]);
    writeEnd_ = FileDescriptor(ends[1]);
    for (const int end : ends) {
        if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0 || ::fcntl(end, F_SETFL, O_NONBLOCK) != 0) {
            throw FException("Wake-up pipe could not be set up", "WakePipe()");
        }
    }
}

void WakePipe::wake() const {
    const int savedErrno = errno;
    // A full pipe wakes the sleeping thread as well, so the result does not matter.
    [[maybe_unused]] const auto written = ::write(writeEnd_.get(), "", 1);
    errno = savedErrno;
}

void WakePipe::drain() const {
    char bytes[64];
    while (::read(readEnd_.get(), bytes, sizeof bytes) == sizeof bytes) {
    }
}

} // namespace Kvs
