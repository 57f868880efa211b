// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Kvs {

/// The text of one printf-style line, cut where the buffer ends.
class LineFormat {
public:
    LineFormat(const char* format, va_list args) __attribute__((format(printf, 2, 0)));

    std::string_view text() const { return {buffer_, length_}; }

private:
    static constexpr std::size_t kBufferSize = 4096; // the terminating NUL included

    bool formatSimply(std::string_view format, va_list args);
    void append(std::string_view text);
    template <class T>
    void appendNumber(T number);

    char buffer_[kBufferSize];
    std::size_t length_ = 0;
};

} // namespace Kvs
