// SPDX-License-Identifier: MIT

#pragma once

#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/PrivateBus.h"

#ifdef KVN_WITH_DESKTOP
#include "host/desktop/QtMainLoop.h"
#endif

// The implementations that are built on Linux.

namespace kvn::test {

#ifdef KVN_WITH_DESKTOP
using Loops = testing::Types<host::PollMainLoop, host::QtMainLoop>;
#else
using Loops = testing::Types<host::PollMainLoop>;
#endif
using PropertyLists = testing::Types<host::PortablePropertyList>;

template <class Loop>
std::unique_ptr<host::MainLoop> makeLoop() {
    if constexpr (std::is_constructible_v<Loop, const char*>) {
        return std::make_unique<Loop>("offscreen");
    } else {
        return std::make_unique<Loop>();
    }
}

/// A session whose programs can notify each other, and a main loop in it.
class Session {
public:
    host::MainLoop& loop() { return bus_.loop(); }

private:
    PrivateBus bus_;
};

} // namespace kvn::test
