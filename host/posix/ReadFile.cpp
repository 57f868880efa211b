#include "host/posix/ReadFile.h"

#include "core/system/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <fcntl.h>

namespace kvn::host {

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
    // Non-blocking: a pipe in the file's place must not hold us up.
    const Kvs::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> part;
    for (;;) {
        const ssize_t count = read(file.get(), part.data(), part.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 || content.size() + static_cast<std::size_t>(count) > limit) {
            return std::nullopt;
        }
        if (count == 0) {
            return content;
        }
        content.append(part.data(), static_cast<std::size_t>(count));
    }
}

} // namespace kvn::host
