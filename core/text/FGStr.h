// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Kvs {

/// A piece of text as a pointer and a length. It does not own the text.
template <class C>
using FStrToken = std::basic_string_view<C>;

/// Integers of 8 to 64 bits, which print as decimal text.
template <class T>
concept FInteger = std::is_integral_v<T> && !std::is_same_v<T, bool>;

/// A NUL-terminated text that owns its characters; copies are deep. By the library's convention a wide string
/// carries UTF-8, one byte in each unit (see `fWiden` and `fNarrow`).
template <class C>
class FGStr {
public:
    FGStr() = default;
    FGStr(const C* text) : text_(text ? text : emptyText) {}
    FGStr(FStrToken<C> text) : text_(text) {}
    FGStr(std::basic_string<C> text) : text_(std::move(text)) {}

    const C* c_str() const { return text_.c_str(); }
    const std::basic_string<C>& str() const { return text_; }
    FStrToken<C> token() const { return text_; }
    std::size_t length() const { return text_.size(); }
    bool isEmpty() const { return text_.empty(); }
    void clear() { text_.clear(); }

    FGStr& append(FStrToken<C> text) {
        text_.append(text);
        return *this;
    }

    /// Appends decimal text; with `emptyWhenZero`, 0 appends nothing.
    template <FInteger T>
    FGStr& appendValueOf(T value, bool emptyWhenZero = false) {
        if (value == 0 && emptyWhenZero) {
            return *this;
        }
        // to_chars has no overload for the character types; the sign of every 8-bit type is kept.
        using Wide = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<Wide>(value)).ptr;
        text_.append(digits, end);
        return *this;
    }

    /// Appends the bytes as lower-case hexadecimal, two digits each.
    FGStr& appendHexOf(const void* bytes, long size) {
        static constexpr char kDigits[] = "0123456789abcdef";
        const auto* byte = static_cast<const unsigned char*>(bytes);
        for (long i = 0; i < size; ++i) {
            text_.push_back(static_cast<C>(kDigits[byte[i] >> 4]));
            text_.push_back(static_cast<C>(kDigits[byte[i] & 0xF]));
        }
        return *this;
    }

    /// Returns how often `part` occurs, without overlap.
    std::size_t count(FStrToken<C> part) const {
        std::size_t found = 0;
        if (part.empty()) {
            return found;
        }
        for (auto at = text_.find(part); at != text_.npos; at = text_.find(part, at + part.size())) {
            ++found;
        }
        return found;
    }

    /// Returns the pieces between the separators, empty ones included. If `most` is positive, there are at
    /// most so many pieces and the last one keeps the rest. An empty text has no pieces.
    FList<FGStr> split(FStrToken<C> separator, long most = 0) const {
        FList<FGStr> pieces;
        splitTo(pieces, separator, most);
        return pieces;
    }

    /// Does what `split` does and appends to `pieces`.
    void splitTo(FList<FGStr>& pieces, FStrToken<C> separator, long most = 0) const {
        FStrToken<C> rest = text_;
        if (rest.empty() || separator.empty()) {
            if (!rest.empty()) {
                pieces.emplace_back(rest);
            }
            return;
        }
        for (long piece = 1; piece != most; ++piece) {
            const auto at = rest.find(separator);
            if (at == rest.npos) {
                break;
            }
            pieces.emplace_back(rest.substr(0, at));
            rest.remove_prefix(at + separator.size());
        }
        pieces.emplace_back(rest);
    }

    /// Reads the leading hexadecimal digits; the result is taken modulo 2^16.
    std::uint16_t hexToUInt16() const {
        std::uint16_t value = 0;
        for (const C c : text_) {
            int digit = 0;
            if (c >= '0' && c <= '9') {
                digit = static_cast<int>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                digit = static_cast<int>(c - 'a') + 10;
            } else if (c >= 'A' && c <= 'F') {
                digit = static_cast<int>(c - 'A') + 10;
            } else {
                break;
            }
            value = static_cast<std::uint16_t>((value << 4) | digit);
        }
        return value;
    }

    /// Formats the value as `%.15g` does; with `emptyWhenZero`, 0 gives an empty text.
    /// Exists for `char` only.
    static FGStr valueOf(double value, bool emptyWhenZero = false);

    bool operator==(const FGStr&) const = default;
    bool operator==(const C* text) const { return text_ == (text ? text : emptyText); }

private:
    static constexpr C emptyText[1] = {};
    std::basic_string<C> text_;
};

template <>
FGStr<char> FGStr<char>::valueOf(double value, bool emptyWhenZero);

/// Widens text byte by byte: each UTF-8 byte becomes one unit of the wide string.
FGStr<wchar_t> fWiden(std::string_view utf8);

/// Narrows every unit to its low 8 bits, which gives the UTF-8 bytes back.
std::string fNarrow(FStrToken<wchar_t> wide);
inline std::string fNarrow(const FGStr<wchar_t>& wide) { return fNarrow(wide.token()); }

/// The UTF-8 byte-order mark, which is the same in either byte order.
inline constexpr char BOMLE[] = "\xEF\xBB\xBF";
inline constexpr char BOMBE[] = "\xEF\xBB\xBF";
inline constexpr std::size_t BOMSize = 3;

} // namespace Kvs
