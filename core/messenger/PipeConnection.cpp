// SPDX-License-Identifier: MIT

#include "core/messenger/PipeConnection.h"

#include "core/logging/CNSLog.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

namespace Kvs {

PipeConnection::PipeConnection(FileDescriptor socket, std::chrono::milliseconds sendLimit)
    : SharedSocket(std::move(socket)) {
    limitSending(sendLimit);
}

PipeConnection::~PipeConnection() {
    if (number() >= 0) {
        CNSLog("FComMessengerPipe closed: %d", number());
    }
}

void PipeConnection::stop() {
    if (wakePipe_) {
        markShut();
        wakePipe_->wake(); // not every system lets a shutdown end a blocked accept
    } else {
        shutDown();
    }
    FLockGuard guard(pauseLock_);
    stopped_.notify_all();
}

void PipeConnection::pause(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    FLockGuard guard(pauseLock_);
    while (isOpen() && stopped_.wait_until(pauseLock_, end) == std::cv_status::no_timeout) {
    }
}

FileDescriptor PipeConnection::accept() const {
    for (;;) {
        FileDescriptor peer(::accept(number(), nullptr, nullptr));
        if (peer) {
            // Some systems hand the listening socket's non-blocking mode down.
            if (::fcntl(peer.get(), F_SETFD, FD_CLOEXEC) != 0 || ::fcntl(peer.get(), F_SETFL, 0) != 0) {
                peer = FileDescriptor();
            }
            return peer;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return peer;
        }
        pollfd polled[] = {{number(), POLLIN, 0}, {wakePipe_->descriptor(), POLLIN, 0}};
        if (::poll(polled, 2, -1) < 0) {
            return peer;
        }
        if (!isOpen()) {
            errno = EINTR;
            return peer;
        }
    }
}

} // namespace Kvs
