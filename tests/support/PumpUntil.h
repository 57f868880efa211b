// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <chrono>

namespace kvn::test {

/// Runs a real main loop until the condition holds; false after the deadline.
template <class Condition>
bool pumpUntil(host::MainLoop& loop, Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto check = loop.startTimer(std::chrono::milliseconds(1), [&] {
        if (condition() || std::chrono::steady_clock::now() > end) {
            loop.quit();
        }
    });
    loop.run();
    return condition();
}

} // namespace kvn::test
