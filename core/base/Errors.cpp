// SPDX-License-Identifier: MIT

#include "core/base/Errors.h"

#include <cstdio>
#include <cstdlib>

namespace Kvs {

void f_dbg_error(const char* expression, const char* file, unsigned int line, bool fatal) {
    std::printf("%s - File: %s - Line: %u\n", expression, file, line);
    std::fflush(stdout);
    if (fatal) {
        std::abort();
    }
}

void f_dbg_breakpoint() {}

} // namespace Kvs
