// SPDX-License-Identifier: MIT

#include "privileged-helper/shared/PHConnection.h"

#include <algorithm>
#include <cerrno>

namespace kvn {
namespace {

/// Repeats the call until all bytes are transferred; each call gets the number of bytes that have been
/// transferred. Returns 0 or an `errno` value.
template <class Call>
int transferAll(std::size_t size, Call call) {
    for (std::size_t done = 0; done < size;) {
        const long count = call(done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0) {
            return EPIPE;
        } else {
            // Some systems report a reset when the peer closed its end before it had read everything.
            return errno == ECONNRESET ? EPIPE : errno;
        }
    }
    return 0;
}

} // namespace

int PHConnection::limitReading(std::chrono::milliseconds time) {
    readingEnds_ = time.count() > 0 ? std::optional(std::chrono::steady_clock::now() + time) : std::nullopt;
    return limitReceiving(time);
}

int PHConnection::readAll(void* buffer, std::size_t size) {
    const int error = transferAll(
        size, [&](std::size_t done) { return readSome(static_cast<char*>(buffer) + done, size - done); });
    return isOpen() ? error : EBADF;
}

long PHConnection::readSome(char* buffer, std::size_t size) {
    if (aheadBegin_ == aheadEnd_) {
        if (readingEnds_) {
            // The socket's own bound begins anew with each read. A peer that sends byte after byte gets only
            // the rest of the time.
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*readingEnds_ -
                                                                           std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                errno = EAGAIN;
                return -1;
            }
            limitReceiving(left);
        }
        const long count = read(ahead_.data(), ahead_.size());
        if (count <= 0) {
            return count;
        }
        aheadBegin_ = 0;
        aheadEnd_ = static_cast<std::size_t>(count);
    }
    const std::size_t count = std::min(size, aheadEnd_ - aheadBegin_);
    std::copy_n(ahead_.data() + aheadBegin_, count, buffer);
    aheadBegin_ += count;
    return static_cast<long>(count);
}

int PHConnection::writeAll(const void* data, std::size_t size) const {
    const int error = transferAll(
        size, [&](std::size_t done) { return write(static_cast<const char*>(data) + done, size - done); });
    return isOpen() ? error : EBADF;
}

} // namespace kvn
