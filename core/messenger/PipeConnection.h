// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/FRef.h"
#include "core/system/SharedSocket.h"
#include "core/system/WakePipe.h"
#include "core/threads/FThread.h"
#include "core/threads/FThreadLock.h"

#include <chrono>
#include <condition_variable>
#include <memory>

namespace Kvs {

/// One socket of a pipe with the thread that works on it, which holds a reference like every other user.
class PipeConnection : public SharedSocket {
public:
    PipeConnection() = default;
    /// Takes a connected socket. A write waits at most as long as the limit for a peer that does not read.
    PipeConnection(FileDescriptor socket, std::chrono::milliseconds sendLimit);
    /// Takes a listening socket; the wake pipe ends its `accept`.
    PipeConnection(FileDescriptor socket, std::unique_ptr<WakePipe> wakePipe)
        : SharedSocket(std::move(socket)), wakePipe_(std::move(wakePipe)) {}
    ~PipeConnection();

    FThread& thread() { return thread_; }

    /// Makes the thread's present or next blocking call return. Cannot be undone.
    void stop();

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
