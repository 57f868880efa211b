// SPDX-License-Identifier: MIT

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvn::host {

/// A part of an open file, which outlives it. A file may hold wrong offsets and sizes: reads outside of the
/// part fail. Any thread.
class FileWindow {
public:
    FileWindow(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    std::uint64_t size() const { return size_; }

    /// Returns a part of this part; nullopt if it is not completely inside.
    std::optional<FileWindow> part(std::uint64_t offset, std::uint64_t size) const;

    /// Returns the bytes; nullopt if they are not completely inside, or if the file cannot be read there (any
    /// more). The caller limits the size.
    std::optional<std::string> readAt(std::uint64_t offset, std::uint64_t size) const;

private:
    int descriptor_;
    std::uint64_t start_ = 0;
    std::uint64_t size_;
};

/// Reads numbers and texts at positions within bytes of a file. The bytes must outlive this object.
class Fields {
public:
    Fields(std::string_view bytes, std::endian order) : bytes_(bytes), order_(order) {}

    std::size_t size() const { return bytes_.size(); }
    std::uint64_t number(std::size_t position, std::size_t width) const;
    Fields part(std::size_t position, std::size_t size) const {
        return {bytes_.substr(position, size), order_};
    }
    /// Returns true if the field holds exactly the text, up to a zero or its end.
    bool hasText(std::size_t position, std::size_t width, std::string_view text) const;

private:
    std::string_view bytes_;
    std::endian order_;
};

/// The largest size of the load commands, the section headers and the section names of a file or a slice. It
/// is a hundred times the size that large programs need.
inline constexpr std::uint64_t kMaxHeaderBytes = 256 << 10;

} // namespace kvn::host
