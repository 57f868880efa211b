// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <atomic>
#include <chrono>
#include <cstddef>

namespace Kvs {

/// A connected or listening stream socket that several threads use. Any thread.
///
/// A thread that uses the number holds a reference to this object meanwhile. `shutDown` makes blocked calls
/// return. The number is closed when the last reference is dropped; only then may the system use it for
/// another file.
class SharedSocket {
public:
    /// Holds no socket: every operation fails with EBADF.
    SharedSocket() : SharedSocket(FileDescriptor()) {}
    explicit SharedSocket(FileDescriptor socket) : socket_(std::move(socket)) {}

    int number() const { return socket_.get(); }

    /// Makes blocked and later reads and writes return. Cannot be undone.
    void shutDown();
    /// Returns true until `shutDown` or `markShut`.
    bool isOpen() const { return open_.load(std::memory_order_acquire); }

    /// Make one read or write, repeated only when a signal interrupted it. Return -1, with `errno` set, on
    /// failure.
    long read(void* buffer, std::size_t size) const;
    long write(const void* data, std::size_t size) const;

    /// Bounds the time for which a read waits for data, or a write for a peer that does not read; it then
    /// fails with EAGAIN. Zero means no bound. Returns 0 or an `errno` value.
    int limitReceiving(std::chrono::milliseconds limit) const;
    int limitSending(std::chrono::milliseconds limit) const;

protected:
    /// Marks the socket as shut, for a class that ends blocked calls by other means. Returns false if it was
    /// shut before.
    bool markShut() { return open_.exchange(false, std::memory_order_acq_rel); }

private:
    const FileDescriptor socket_;
    std::atomic<bool> open_ = true;
};

} // namespace Kvs
