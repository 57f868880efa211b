// SPDX-License-Identifier: MIT

#include "host/posix/PollUntil.h"

#include <algorithm>
#include <cerrno>

namespace kvn::host {
namespace {

/// Returns the timeout for poll(2), rounded up so that poll does not return just before the deadline.
int millisecondsUntil(Deadline deadline) {
    constexpr std::chrono::milliseconds kLongest(1'000'000'000);
    if (!deadline) {
        return -1;
    }
    const auto left = *deadline - std::chrono::steady_clock::now();
    const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(left);
    return static_cast<int>(std::clamp(rounded, std::chrono::milliseconds(0), kLongest).count());
}

} // namespace

int pollUntil(std::span<pollfd> descriptors, Deadline deadline) {
    for (;;) {
        const int wait = millisecondsUntil(deadline);
        const int ready = ::poll(descriptors.data(), static_cast<nfds_t>(descriptors.size()), wait);
        const bool again = ready < 0 ? errno == EINTR : ready == 0 && wait != 0;
        if (!again) {
            return ready;
        }
    }
}

} // namespace kvn::host
