#pragma once

#include "core/system/FileDescriptor.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <sys/types.h>

namespace kvn {

/// A connected stream socket. Whoever reads or writes holds a reference, so the number is closed, and may
/// belong to somebody else, only when the last of them lets go. Any thread.
class PHConnection {
public:
    explicit PHConnection(Kvs::FileDescriptor socket) : socket_(std::move(socket)) {}

    int number() const { return socket_.get(); }

    /// Ends the connection: a blocked `read` or `write` returns, and every later one fails. Final.
    void shutDown();
    bool isOpen() const { return open_.load(std::memory_order_acquire); }

    /// Transfers exactly that many bytes. 0, or an errno value: EPIPE when the peer has closed its end,
    /// EBADF once this end was shut down.
    int read(void* buffer, std::size_t size); // one thread at a time
    int write(const void* data, std::size_t size) const;

private:
    ssize_t readSome(char* buffer, std::size_t size);

    const Kvs::FileDescriptor socket_;
    std::atomic<bool> open_ = true;

    // What was read ahead: a message's header and body mostly come together.
    std::array<char, 1024> ahead_;
    std::size_t aheadBegin_ = 0;
    std::size_t aheadEnd_ = 0;
};

} // namespace kvn
