// SPDX-License-Identifier: MIT

#include "core/logging/LineFormat.h"

#include "core/text/ControlCharacters.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

namespace Kvs {

LineFormat::LineFormat(const char* format, va_list args) {
    appendUsual(format, args);
    buffer_[length_] = '\0';
}

/// Handles "%s", "%d" and "%u", which are enough for nearly every log line, in a fraction of the time that
/// printf takes, and leaves the rest of any other format to `appendAny`.
void LineFormat::appendUsual(std::string_view format, va_list args) {
    for (auto at = format.find('%'); at != format.npos; at = format.find('%')) {
        append(format.substr(0, at));
        format.remove_prefix(at);
        switch (format.size() > 1 ? format[1] : '\0') {
        case 's': {
            const char* text = va_arg(args, const char*);
            appendValue(text ? text : "(null)");
            break;
        }
        case 'd':
            appendNumber(va_arg(args, int));
            break;
        case 'u':
            appendNumber(va_arg(args, unsigned int));
            break;
        default:
            Arguments rest;
            va_copy(rest.list, args);
            appendAny(format, rest);
            va_end(rest.list);
            return;
        }
        format.remove_prefix(2);
    }
    append(format);
}

void LineFormat::appendAny(std::string_view format, Arguments& args) {
    for (auto at = format.find('%'); at != format.npos; at = format.find('%')) {
        append(format.substr(0, at));
        std::string_view rest = format.substr(at + 1);
        const FFormatSpec spec = FFormatSpec::take(rest);
        if (spec.conversion == '%') {
            append("%");
        } else if (const auto value = next(spec, args)) {
            std::string text;
            fAppendConversion(text, spec, *value);
            append(text);
        } else {
            return appendPrinted(format.data() + at, args.list);
        }
        format = rest;
    }
    append(format);
}

/// Handles every format. Its own control characters are escaped, too, because they cannot be told from those
/// of a value.
void LineFormat::appendPrinted(const char* format, va_list args) {
    char text[kBufferSize];
    // The analyzer does not follow va_copy. NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int wanted = std::vsnprintf(text, sizeof text, format, args);
    if (wanted < 0) {
        append(format); // the arguments cannot be encoded; the format still identifies the line
    } else {
        appendValue({text, std::min(static_cast<std::size_t>(wanted), sizeof text - 1)});
    }
}

/// Takes the argument of a conversion. Takes none and returns nullopt when its type is not known, or when it
/// is a text that need not end with a NUL, since only a part of it is printed.
std::optional<FFormatValue> LineFormat::next(const FFormatSpec& spec, Arguments& args) {
    if (spec.conversion == 's' && spec.head.find('.') == spec.head.npos) {
        const char* text = va_arg(args.list, const char*);
        return std::string_view(text ? text : "(null)");
    }
    if (spec.isFloating() && spec.length.empty()) {
        return va_arg(args.list, double);
    }
    if (!spec.isInteger()) {
        return std::nullopt;
    }
    if (spec.length == "l") {
        return nextInteger<long>(spec, args);
    }
    if (spec.length == "ll") {
        return nextInteger<long long>(spec, args);
    }
    if (spec.length == "z") {
        return nextInteger<std::make_signed_t<std::size_t>>(spec, args);
    }
    return spec.length.empty() ? std::optional(nextInteger<int>(spec, args)) : std::nullopt;
}

template <class Int>
FFormatValue LineFormat::nextInteger(const FFormatSpec& spec, Arguments& args) {
    const Int value = va_arg(args.list, Int); // may be taken as signed whatever it was
    const bool isSigned = spec.conversion == 'd' || spec.conversion == 'i' || spec.conversion == 'c';
    return FFormatNumber{static_cast<std::make_unsigned_t<Int>>(value),
                         isSigned ? std::optional<long long>(value) : std::nullopt};
}

void LineFormat::append(std::string_view text) {
    const std::size_t size = std::min(text.size(), sizeof buffer_ - 1 - length_);
    std::memcpy(buffer_ + length_, text.data(), size);
    length_ += size;
}

void LineFormat::appendValue(std::string_view text) {
    if (fHasControlCharacters(text)) {
        append(fControlCharactersEscaped(text));
    } else {
        append(text);
    }
}

template <class T>
void LineFormat::appendNumber(T number) {
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    append({digits, static_cast<std::size_t>(end - digits)});
}

} // namespace Kvs
