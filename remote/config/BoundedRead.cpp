#include "remote/config/BoundedRead.h"

#include <cerrno>
#include <unistd.h>

namespace Kvs {

std::optional<std::string> fReadUpTo(std::size_t limit, int descriptor) {
    std::string bytes;
    char chunk[4096];
    for (;;) {
        const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
        if (count == 0) {
            return bytes;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return std::nullopt;
        }
        bytes.append(chunk, static_cast<std::size_t>(count));
        if (bytes.size() > limit) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

} // namespace Kvs
