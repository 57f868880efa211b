#include "privileged-helper/shared/PHConnection.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace kvn {
namespace {

/// Calls until all bytes are transferred; each call gets how many already are.
template <class Call>
int transferAll(std::size_t size, Call call) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t count = call(done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0) {
            return EPIPE;
        } else if (errno == ECONNRESET) {
            return EPIPE; // how some systems tell that the peer left without having read all
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace

void PHConnection::shutDown() {
    if (open_.exchange(false, std::memory_order_acq_rel)) {
        ::shutdown(number(), SHUT_RDWR);
    }
}

int PHConnection::read(void* buffer, std::size_t size) {
    const int error = transferAll(
        size, [&](std::size_t done) { return readSome(static_cast<char*>(buffer) + done, size - done); });
    return isOpen() ? error : EBADF;
}

ssize_t PHConnection::readSome(char* buffer, std::size_t size) {
    if (aheadBegin_ == aheadEnd_) {
        const ssize_t count = ::read(number(), ahead_.data(), ahead_.size());
        if (count <= 0) {
            return count;
        }
        aheadBegin_ = 0;
        aheadEnd_ = static_cast<std::size_t>(count);
    }
    const std::size_t count = std::min(size, aheadEnd_ - aheadBegin_);
    std::copy_n(ahead_.data() + aheadBegin_, count, buffer);
    aheadBegin_ += count;
    return static_cast<ssize_t>(count);
}

int PHConnection::write(const void* data, std::size_t size) const {
    const int error = transferAll(size, [&](std::size_t done) {
        return ::write(number(), static_cast<const char*>(data) + done, size - done);
    });
    return isOpen() ? error : EBADF;
}

} // namespace kvn
