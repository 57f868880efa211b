// SPDX-License-Identifier: MIT

#include "core/logging/LogLimit.h"

namespace Kvs {

bool LogLimit::admitsInNewPeriod(std::size_t size, std::string& notice) {
    const auto now = clock_();
    if (now - periodBegin_ >= kPeriod && size <= kBytes) {
        periodBegin_ = now;
        left_ = kBytes - size;
        if (leftOut_ > 0) {
            notice = std::to_string(std::exchange(leftOut_, 0)) + " lines were left out";
        }
        return true;
    }
    if (leftOut_++ == 0) {
        // Says so at once: the process may end before the number is known.
        notice = "Too many lines: the next ones are left out";
    }
    left_ = 0;
    return false;
}

} // namespace Kvs
