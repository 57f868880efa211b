// SPDX-License-Identifier: MIT

#include "core/system/ReadFile.h"

#include "core/system/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Kvs {

std::optional<std::string> fReadAll(int descriptor, std::size_t limit) {
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

std::optional<std::string> fReadFile(const std::string& path, std::size_t limit) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file ? fReadAll(file.get(), limit) : std::nullopt;
}

} // namespace Kvs
