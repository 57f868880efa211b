// SPDX-License-Identifier: MIT

#pragma once

#include "core/logging/OCFormat.h"

#include <cstdarg>
#include <cstddef>
#include <optional>
#include <string_view>

namespace Kvs {

/// The text of one printf-style line, cut where the buffer ends. The control characters of the format stay,
/// those of the inserted values are escaped.
class LineFormat {
public:
    LineFormat(const char* format, va_list args) __attribute__((format(printf, 2, 0)));

    std::string_view text() const { return {buffer_, length_}; }

private:
    static constexpr std::size_t kBufferSize = 4096; // the terminating NUL included

    struct Arguments {
        va_list list;
    };

    void appendUsual(std::string_view format, va_list args);
    void appendAny(std::string_view format, Arguments& args);
    void appendPrinted(const char* format, va_list args) __attribute__((format(printf, 2, 0)));
    static std::optional<FFormatValue> next(const FFormatSpec& spec, Arguments& args);
    template <class Int>
    static FFormatValue nextInteger(const FFormatSpec& spec, Arguments& args);

    void append(std::string_view text);
    void appendValue(std::string_view text);
    template <class T>
    void appendNumber(T number);

    char buffer_[kBufferSize];
    std::size_t length_ = 0;
};

} // namespace Kvs
