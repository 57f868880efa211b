// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/SharedSocket.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace kvn {

/// A connected stream socket from which whole messages are read. Any thread; only one thread at a time may
/// read.
class PHConnection : public Kvs::SharedSocket {
public:
    using SharedSocket::SharedSocket;

    /// Bounds the time of all reads together that follow; after it, they fail with EAGAIN. Zero means no
    /// bound. Returns 0 or an `errno` value. Called on the thread that reads.
    int limitReading(std::chrono::milliseconds time);

    /// Transfer exactly that many bytes. Return 0 or an `errno` value: EPIPE when the peer has closed its
    /// end, EBADF once this end was shut down.
    int readAll(void* buffer, std::size_t size);
    int writeAll(const void* data, std::size_t size) const;

private:
    long readSome(char* buffer, std::size_t size);

    // Bytes that were read ahead, because a message's header and body usually arrive together.
    std::array<char, 1024> ahead_;
    std::size_t aheadBegin_ = 0;
    std::size_t aheadEnd_ = 0;
    std::optional<std::chrono::steady_clock::time_point> readingEnds_;
};

} // namespace kvn
