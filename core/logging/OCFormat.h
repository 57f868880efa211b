// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace Kvs {

/// The kinds of values that a log format may print. An integer keeps its width and sign.
template <class T>
concept FFormatInteger = std::is_integral_v<T> ||(std::is_enum_v<T>&& std::is_convertible_v<T, long long>);
template <class T>
concept FFormatText = std::is_convertible_v<const T&, std::string_view> || std::is_same_v<T, FGStr<char>> ||
    std::is_same_v<T, FGStr<wchar_t>>;
template <class T>
concept FFormatObject = requires(const T& object) {
    { object.description() } -> std::convertible_to<std::string>;
};
template <class T>
concept FFormatList = !std::is_convertible_v<const T&, std::string> && !FFormatText<T> && !FFormatObject<T> &&
                      requires(const T& list) {
    list.begin();
    list.end();
};

/// An integer of any type: its bits, extended by zeros from its own width, and its value when it has a sign.
struct FFormatNumber {
    unsigned long long bits;
    std::optional<long long> value;
};

/// One argument, ready to print; a text may point into the argument itself.
using FFormatValue = std::variant<FFormatNumber, double, std::string_view, std::string>;

/// Appends the format with its conversions filled in; they must fit the values. The control characters of the
/// format stay, those of the values are escaped.
void fAppendFormatted(std::string& out, std::string_view format, const FFormatValue* values);

/// Returns the text that "%@" gives for the value.
std::string fDescription(const FFormatValue& value);

/// One conversion of a format, %[flags][width][.precision][l|ll|z]conversion.
struct FFormatSpec {
    std::string_view head;   // flags, width and precision
    std::string_view length; // the length modifier
    char conversion = '\0';

    constexpr bool isInteger() const { return isOneOf(conversion, "diuxXc"); }
    constexpr bool isFloating() const { return isOneOf(conversion, "fFeEgG"); }

    /// Removes one from the beginning of a text that follows a "%". The conversion of an unknown one is '\0'.
    static constexpr FFormatSpec take(std::string_view& text) {
        std::size_t end = 0;
        while (end < text.size() && isOneOf(text[end], "-+ #0123456789.")) {
            ++end;
        }
        FFormatSpec spec;
        spec.head = text.substr(0, end);
        const std::size_t headEnd = end;
        while (end < text.size() && isOneOf(text[end], "lz")) {
            ++end;
        }
        spec.length = text.substr(headEnd, end - headEnd);
        if (end < text.size()) {
            const char conversion = text[end++];
            const bool plain =
                spec.length.empty() && (isOneOf(conversion, "cs") || (conversion == '@' && headEnd == 0) ||
                                        (conversion == '%' && headEnd == 0));
            if (plain || isOneOf(conversion, "diuxXfFeEgG")) {
                spec.conversion = conversion;
            }
        }
        text.remove_prefix(end);
        return spec;
    }

private:
    static constexpr bool isOneOf(char c, std::string_view set) { return set.find(c) != set.npos; }
};

/// Appends the value as the conversion, which must fit it and must not be "%%", prints it.
void fAppendConversion(std::string& out, const FFormatSpec& spec, const FFormatValue& value);

/// A log format that is checked against its arguments at compile time: a wrong count or kind of arguments
/// does not compile. "%@" prints any text, number, list (as "(a, b)"), optional (an empty one as "(null)")
/// or object with `description()`; "%s" prints any text. The integer conversions take every integer width
/// and ignore the length modifiers. Everything else is as in printf, but that the control characters of the
/// arguments are escaped.
template <class... Args>
class OCFormat {
public:
    template <std::size_t Size>
    consteval OCFormat(const char (&format)[Size]) : format_(format, Size - 1) {
        if (!accepts(format_)) {
            formatDoesNotFitItsArguments();
        }
    }

    static constexpr bool accepts(std::string_view format) {
        constexpr Kind kinds[] = {kindOf<std::remove_cvref_t<Args>>()..., Kind::none};
        std::size_t used = 0;
        for (auto at = format.find('%'); at != format.npos; at = format.find('%')) {
            format.remove_prefix(at + 1);
            const FFormatSpec spec = FFormatSpec::take(format);
            if (spec.conversion == '%') {
                continue;
            }
            if (used == sizeof...(Args) || !fits(spec, kinds[used])) {
                return false;
            }
            ++used;
        }
        return used == sizeof...(Args);
    }

    std::string text(const Args&... args) const {
        const FFormatValue values[] = {valueOf(args)..., FFormatValue()};
        std::string out;
        fAppendFormatted(out, format_, values);
        return out;
    }

private:
    enum class Kind { none, integer, floating, text, object };

    static void formatDoesNotFitItsArguments() {} // not constant: reaching it ends the compilation

    template <class T>
    static consteval Kind kindOf() {
        if constexpr (FFormatInteger<T>) {
            return Kind::integer;
        } else if constexpr (std::is_floating_point_v<T>) {
            return Kind::floating;
        } else if constexpr (FFormatText<T>) {
            return Kind::text;
        } else {
            return Kind::object;
        }
    }

    static constexpr bool fits(const FFormatSpec& spec, Kind kind) {
        return spec.conversion == '@' || (spec.isInteger() && kind == Kind::integer) ||
               (spec.isFloating() && kind == Kind::floating) ||
               (spec.conversion == 's' && kind == Kind::text);
    }

    template <FFormatInteger T>
    static FFormatValue valueOf(const T& value) {
        if constexpr (std::is_enum_v<T>) {
            return valueOf(static_cast<std::underlying_type_t<T>>(value));
        } else if constexpr (std::is_signed_v<T>) {
            return FFormatNumber{static_cast<std::make_unsigned_t<T>>(value), value};
        } else {
            return FFormatNumber{value, std::nullopt};
        }
    }

    template <std::floating_point T>
    static FFormatValue valueOf(const T& value) {
        return static_cast<double>(value);
    }

    template <FFormatText T>
    static FFormatValue valueOf(const T& text) {
        if constexpr (std::is_same_v<T, FGStr<wchar_t>>) {
            return fNarrow(text);
        } else if constexpr (std::is_same_v<T, FGStr<char>>) {
            return text.token();
        } else if constexpr (std::is_pointer_v<T>) {
            return text ? std::string_view(text) : std::string_view("(null)");
        } else {
            return std::string_view(text);
        }
    }

    template <FFormatObject T>
    static FFormatValue valueOf(const T& object) {
        return std::string(object.description());
    }

    template <FFormatList T>
    static FFormatValue valueOf(const T& list) {
        std::string text = "(";
        for (const auto& item : list) {
            text.append(text.size() > 1 ? ", " : "").append(fDescription(valueOf(item)));
        }
        return text + ")";
    }

    template <class T>
    static FFormatValue valueOf(const std::optional<T>& value) {
        return value ? valueOf(*value) : FFormatValue(std::string_view("(null)"));
    }

    std::string_view format_;
};

} // namespace Kvs
