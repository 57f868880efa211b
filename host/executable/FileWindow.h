#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvn::host {

/// A part of an open file, which outlives it. What a file says about itself need not be true: nothing
/// outside of the part is read, whatever is asked for. Any thread.
class FileWindow {
public:
    FileWindow(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    std::uint64_t size() const { return size_; }

    /// Nothing when not all of it is inside.
    std::optional<FileWindow> part(std::uint64_t offset, std::uint64_t size) const;

    /// Nothing when not all of it is inside, when the file cannot be read there or has been cut meanwhile.
    /// The caller limits the size.
    std::optional<std::string> readAt(std::uint64_t offset, std::uint64_t size) const;

private:
    int descriptor_;
    std::uint64_t start_ = 0;
    std::uint64_t size_;
};

/// The numbers and texts in bytes of a file, at positions that lie within them. Views the bytes.
class Fields {
public:
    Fields(std::string_view bytes, std::endian order) : bytes_(bytes), order_(order) {}

    std::size_t size() const { return bytes_.size(); }
    std::uint64_t number(std::size_t position, std::size_t width) const;
    Fields part(std::size_t position, std::size_t size) const {
        return {bytes_.substr(position, size), order_};
    }
    /// Whether the text stands there, and then a zero or the end of the field.
    bool hasText(std::size_t position, std::size_t width, std::string_view text) const;

private:
    std::string_view bytes_;
    std::endian order_;
};

/// The most bytes of load commands, section headers or section names that are read of a file, or of one
/// slice of it: a hundred times what large programs have.
inline constexpr std::uint64_t kMaxHeaderBytes = 256 << 10;

} // namespace kvn::host
