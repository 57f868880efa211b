// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <thread>

namespace kvn::test {

/// Waits for another thread or process to make the condition true; false after the deadline. The
/// deadline is generous because a sanitizer build on a busy machine is slow; nobody waits it out
/// unless the test fails.
template <class Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace kvn::test
