// SPDX-License-Identifier: MIT

#include "core/system/WakePipe.h"

#include "core/base/Errors.h"
#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <tuple>
#include <unistd.h>

namespace Kvs {

WakePipe::WakePipe() {
    std::tie(readEnd_, writeEnd_) = closeOnExecPipe(false);
    if (!readEnd_) {
        throw FException("Wake-up pipe could not be made", "WakePipe()");
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
