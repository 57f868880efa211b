// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <sys/resource.h>

// What the system knows about the test's own process, in the ways that Linux and macOS share. Any thread.

namespace kvn::test {

/// Returns how many descriptors are open, with the one that reads the list.
inline std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/dev/fd"), {});
}

/// Returns how often a thread has left the processor. macOS counts a thread that waits as one that was
/// interrupted.
inline long contextSwitches() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw + usage.ru_nivcsw;
}

} // namespace kvn::test
