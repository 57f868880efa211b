#include "core/messenger/PipeConnection.h"

#include "core/logging/CNSLog.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace Kvs {
namespace {

// Long enough for any peer that is alive, short enough for a main thread to be stuck in a send.
constexpr timeval kSendTimeout = {2, 0};

template <class Call>
long uninterrupted(Call call) {
    long result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

PipeConnection::~PipeConnection() {
    if (socket_) {
        CNSLog("FComMessengerPipe closed: %d", number());
    }
}

void PipeConnection::stop() {
    stopped_.store(true, std::memory_order_release);
    if (wakePipe_) {
        wakePipe_->wake(); // not every system lets a shutdown end a blocked accept
    } else {
        ::shutdown(number(), SHUT_RDWR);
    }
}

long PipeConnection::read(unsigned char* buffer, std::size_t size) const {
    return uninterrupted([&] { return ::read(number(), buffer, size); });
}

long PipeConnection::write(const unsigned char* data, std::size_t length) const {
    return uninterrupted([&] { return ::write(number(), data, length); });
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
        if (isStopped()) {
            errno = EINTR;
            return peer;
        }
    }
}

void PipeConnection::limitSending(const FileDescriptor& socket) {
    ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof kSendTimeout);
}

} // namespace Kvs
