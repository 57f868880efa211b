// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/FRef.h"
#include "core/system/SharedSocket.h"
#include "core/system/WakePipe.h"
#include "core/threads/FThread.h"
#include "core/threads/FThreadLock.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>

namespace Kvs {

/// One socket of a pipe with the thread that works on it, which holds a reference like every other user.
class PipeConnection : public SharedSocket {
public:
    PipeConnection() = default;
    /// Takes a connected socket. If it is in blocking mode, a write waits for at most two seconds.
    explicit PipeConnection(FileDescriptor socket);
    /// Takes a listening socket; the wake pipe ends its `accept`.
    PipeConnection(FileDescriptor socket, std::unique_ptr<WakePipe> wakePipe)
        : SharedSocket(std::move(socket)), wakePipe_(std::move(wakePipe)) {}
    ~PipeConnection();

    FThread& thread() { return thread_; }

    /// Makes the thread's present or next blocking call return. Cannot be undone.
    void stop();

    /// Reads as `read` does, and waits for data in non-blocking mode too.
    long receive(void* buffer, std::size_t size) const;

    /// Waits until the time has passed or the connection is stopped.
    void pause(std::chrono::milliseconds time);

    /// Waits for a peer and returns its connection, in blocking mode. Returns an empty descriptor, with
    /// `errno` set, on failure; the error is EINTR after `stop`.
    FileDescriptor accept() const;

private:
    const std::unique_ptr<WakePipe> wakePipe_;
    FThreadLock pauseLock_; // taken by `stop`, so that `pause` cannot miss it
    std::condition_variable_any stopped_;
    FThread thread_;
};

using PipeConnectionRef = FRef<PipeConnection>;

} // namespace Kvs
