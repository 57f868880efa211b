// SPDX-License-Identifier: MIT

#pragma once

#include "host/Host.h"
#include "host/macos/MacMainLoop.h"
#include "host/macos/MacPropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/Test.h"

// The implementations that are built on macOS.

namespace kvn::test {

struct MacApplicationLoop {}; // a MacMainLoop with an application
using Loops = testing::Types<host::PollMainLoop, host::MacMainLoop, MacApplicationLoop>;
using PropertyLists = testing::Types<host::PortablePropertyList, host::MacPropertyList>;

/// Returns null for a loop with an application if no window server answers, or if this process has had one:
/// an application is launched once.
template <class Loop>
std::unique_ptr<host::MainLoop> makeLoop() {
    if constexpr (std::is_same_v<Loop, MacApplicationLoop>) {
        static bool launched = host::defaultFrontEnd() != host::FrontEnd::Desktop;
        return std::exchange(launched, true) ? nullptr : std::make_unique<host::MacMainLoop>(true);
    } else if constexpr (std::is_same_v<Loop, host::MacMainLoop>) {
        return std::make_unique<Loop>(false);
    } else {
        return std::make_unique<Loop>();
    }
}

/// The session of whoever runs the test, and a main loop in it.
class Session {
public:
    host::MainLoop& loop() { return loop_; }

private:
    host::MacMainLoop loop_{false};
};

} // namespace kvn::test
