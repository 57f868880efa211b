// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "tests/support/Test.h"

namespace kvn::test {

/// Two connected sockets; SIGPIPE is ignored, as in the program.
struct SocketPair {
    SocketPair() {
        std::signal(SIGPIPE, SIG_IGN);
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        ours = Kvs::FileDescriptor(ends[0]);
        peer = Kvs::FileDescriptor(ends[1]);
    }

    /// Writes as the peer.
    void write(const std::string& bytes) const {
        EXPECT_EQ(::write(peer.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    Kvs::FileDescriptor ours;
    Kvs::FileDescriptor peer;
};

} // namespace kvn::test
