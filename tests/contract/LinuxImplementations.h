// SPDX-License-Identifier: MIT

#pragma once

#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/PrivateBus.h"

// The implementations that are built on Linux.

namespace kvn::test {

using Loops = testing::Types<host::PollMainLoop>;
using PropertyLists = testing::Types<host::PortablePropertyList>;

template <class Loop>
std::unique_ptr<host::MainLoop> makeLoop() {
    return std::make_unique<Loop>();
}

/// A session whose programs can notify each other, and a main loop in it.
class Session {
public:
    host::MainLoop& loop() { return bus_.loop(); }

private:
    PrivateBus bus_;
};

} // namespace kvn::test
