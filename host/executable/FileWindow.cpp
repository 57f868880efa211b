// SPDX-License-Identifier: MIT

#include "host/executable/FileWindow.h"

#include <cerrno>
#include <unistd.h>

namespace kvn::host {

std::optional<FileWindow> FileWindow::part(std::uint64_t offset, std::uint64_t size) const {
    if (offset > size_ || size > size_ - offset) {
        return std::nullopt;
    }
    FileWindow part(descriptor_, size);
    part.start_ = start_ + offset;
    return part;
}

std::optional<std::string> FileWindow::readAt(std::uint64_t offset, std::uint64_t size) const {
    const auto wanted = part(offset, size);
    if (!wanted) {
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::pread(descriptor_, bytes.data() + done, bytes.size() - done,
                                      static_cast<off_t>(wanted->start_ + done));
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return std::nullopt;
        }
    }
    return bytes;
}

std::uint64_t Fields::number(std::size_t position, std::size_t width) const {
    std::uint64_t value = 0;
    const std::string_view bytes = bytes_.substr(position, width);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char byte = order_ == std::endian::big ? bytes[i] : bytes[bytes.size() - 1 - i];
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

bool Fields::hasText(std::size_t position, std::size_t width, std::string_view text) const {
    const std::string_view field = bytes_.substr(position, width);
    return field.substr(0, field.find('\0')) == text;
}

} // namespace kvn::host
