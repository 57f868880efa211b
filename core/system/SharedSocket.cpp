// SPDX-License-Identifier: MIT

#include "core/system/SharedSocket.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace Kvs {
namespace {

template <class Call>
long uninterrupted(Call call) {
    long result = 0;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

int setTimeout(int socket, int option, std::chrono::milliseconds limit) {
    timeval timeout{};
    timeout.tv_sec = static_cast<time_t>(limit.count() / 1000);
    timeout.tv_usec = static_cast<suseconds_t>(limit.count() % 1000 * 1000);
    return ::setsockopt(socket, SOL_SOCKET, option, &timeout, sizeof timeout) == 0 ? 0 : errno;
}

} // namespace

void SharedSocket::shutDown() {
    // The flag is set first: a thread whose call the shutdown ends then sees it and reports no failure.
    if (markShut()) {
        ::shutdown(number(), SHUT_RDWR);
    }
}

long SharedSocket::read(void* buffer, std::size_t size) const {
    return uninterrupted([&] { return ::read(number(), buffer, size); });
}

long SharedSocket::write(const void* data, std::size_t size) const {
    return uninterrupted([&] { return ::write(number(), data, size); });
}

int SharedSocket::limitReceiving(std::chrono::milliseconds limit) const {
    return setTimeout(number(), SO_RCVTIMEO, limit);
}

int SharedSocket::limitSending(std::chrono::milliseconds limit) const {
    return setTimeout(number(), SO_SNDTIMEO, limit);
}

} // namespace Kvs
