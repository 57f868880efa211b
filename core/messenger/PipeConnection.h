#pragma once

#include "core/base/FRef.h"
#include "core/system/SharedSocket.h"
#include "core/system/WakePipe.h"
#include "core/threads/FThread.h"

#include <memory>

namespace Kvs {

/// One socket of a pipe with the thread that works on it, which holds a reference like every other user.
class PipeConnection : public SharedSocket {
public:
    PipeConnection() = default;
    /// A connected socket. A write waits for at most two seconds.
    explicit PipeConnection(FileDescriptor socket);
    /// A listening socket, whose `accept` the wake pipe ends.
    PipeConnection(FileDescriptor socket, std::unique_ptr<WakePipe> wakePipe)
        : SharedSocket(std::move(socket)), wakePipe_(std::move(wakePipe)) {}
    ~PipeConnection();

    FThread& thread() { return thread_; }

    /// Makes the thread's blocking call return, now or when it comes to it. Final.
    void stop();

    /// Waits for a peer and makes a blocking connection to it; empty, with `errno`, on failure, and
    /// with EINTR after `stop`.
    FileDescriptor accept() const;

private:
    const std::unique_ptr<WakePipe> wakePipe_;
    FThread thread_;
};

using PipeConnectionRef = FRef<PipeConnection>;

} // namespace Kvs
