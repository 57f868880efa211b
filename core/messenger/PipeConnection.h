#pragma once

#include "core/base/FRef.h"
#include "core/system/FileDescriptor.h"
#include "core/system/WakePipe.h"
#include "core/threads/FThread.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace Kvs {

/// One socket of a pipe with the thread that works on it. Whoever uses the number holds a reference,
/// the thread included, so the number is closed, and may belong to somebody else, only when the last
/// of them lets go.
class PipeConnection {
public:
    /// Without a socket every operation fails with EBADF.
    PipeConnection() = default;
    explicit PipeConnection(FileDescriptor socket) : socket_(std::move(socket)) {}
    /// A listening socket, whose accept can be woken.
    PipeConnection(FileDescriptor socket, std::unique_ptr<WakePipe> wakePipe)
        : socket_(std::move(socket)), wakePipe_(std::move(wakePipe)) {}
    ~PipeConnection();

    int number() const { return socket_.get(); }
    FThread& thread() { return thread_; }

    /// Makes the thread's blocking call return, now or when it comes to it. Final.
    void stop();
    bool isStopped() const { return stopped_.load(std::memory_order_acquire); }

    /// One read or write, repeated only when a signal interrupted it; -1 with `errno` on failure.
    long read(unsigned char* buffer, std::size_t size) const;
    long write(const unsigned char* data, std::size_t length) const;

    /// Waits for a peer and makes a blocking connection to it; empty, with `errno`, on failure, and
    /// with EINTR after `stop`.
    FileDescriptor accept() const;

    /// Bounds the time for which `write` waits for a peer that does not read; it then fails with EAGAIN.
    static void limitSending(const FileDescriptor& socket);

private:
    FileDescriptor socket_;
    std::unique_ptr<WakePipe> wakePipe_;
    std::atomic<bool> stopped_ = false;
    FThread thread_;
};

using PipeConnectionRef = FRef<PipeConnection>;

} // namespace Kvs
