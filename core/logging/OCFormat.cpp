// SPDX-License-Identifier: MIT

#include "core/logging/OCFormat.h"

#include "core/text/ControlCharacters.h"

#include <charconv>
#include <cstdio>

namespace Kvs {

namespace {

std::string_view textOf(const FFormatValue& value) {
    const auto* owned = std::get_if<std::string>(&value);
    return owned ? std::string_view(*owned) : std::get<std::string_view>(value);
}

/// Appends what printf prints for one value.
template <class T>
void appendPrinted(std::string& out, const std::string& format, T value) {
    char text[64];
    const int printed = std::snprintf(text, sizeof text, format.c_str(), value);
    if (printed < 0) {
        return;
    }
    const auto size = static_cast<std::size_t>(printed);
    if (size < sizeof text) {
        out.append(text, size);
        return;
    }
    const std::size_t begin = out.size();
    out.resize(begin + size + 1); // and the NUL
    std::snprintf(&out[begin], size + 1, format.c_str(), value);
    out.pop_back();
}

std::string printfFormat(const FFormatSpec& spec, std::string_view end) {
    return std::string("%").append(spec.head).append(end);
}

void appendInteger(std::string& out, const FFormatSpec& spec, const FFormatNumber& number) {
    const bool isSigned = (spec.conversion == 'd' || spec.conversion == 'i') && number.value;
    if (isSigned) {
        appendPrinted(out, printfFormat(spec, "lld"), *number.value);
    } else if (spec.conversion == 'c') {
        appendPrinted(out, printfFormat(spec, "c"), static_cast<int>(number.bits));
    } else if (spec.conversion == 'x' || spec.conversion == 'X') {
        appendPrinted(out, printfFormat(spec, spec.conversion == 'x' ? "llx" : "llX"), number.bits);
    } else {
        appendPrinted(out, printfFormat(spec, "llu"), number.bits);
    }
}

std::string printed(const FFormatSpec& spec, const FFormatValue& value) {
    std::string out;
    if (spec.conversion == '@') {
        out = fDescription(value);
    } else if (spec.isInteger()) {
        appendInteger(out, spec, std::get<FFormatNumber>(value));
    } else if (spec.isFloating()) {
        appendPrinted(out, printfFormat(spec, {&spec.conversion, 1}), std::get<double>(value));
    } else {
        appendPrinted(out, printfFormat(spec, "s"), std::string(textOf(value)).c_str());
    }
    return out;
}

template <class Integer>
void appendDecimal(std::string& out, Integer number) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void appendValue(std::string& out, std::string_view text) {
    if (fHasControlCharacters(text)) {
        out += fControlCharactersEscaped(text);
    } else {
        out += text;
    }
}

} // namespace

void fAppendConversion(std::string& out, const FFormatSpec& spec, const FFormatValue& value) {
    // Nearly every value is printed whole, and then needs neither printf nor a copy.
    const bool whole = spec.head.empty();
    const auto* number = std::get_if<FFormatNumber>(&value);
    if (whole && number && std::string_view("@diu").find(spec.conversion) != std::string_view::npos) {
        const bool isSigned = spec.conversion != 'u' && number->value;
        return isSigned ? appendDecimal(out, *number->value) : appendDecimal(out, number->bits);
    }
    if (whole && !number && !std::holds_alternative<double>(value)) {
        return appendValue(out, textOf(value));
    }
    appendValue(out, printed(spec, value));
}

std::string fDescription(const FFormatValue& value) {
    if (const auto* number = std::get_if<FFormatNumber>(&value)) {
        return number->value ? std::to_string(*number->value) : std::to_string(number->bits);
    }
    if (const auto* floating = std::get_if<double>(&value)) {
        return FGStr<char>::valueOf(*floating).str();
    }
    return std::string(textOf(value));
}

void fAppendFormatted(std::string& out, std::string_view format, const FFormatValue* values) {
    constexpr std::size_t kUsualValues = 100; // bytes that the values of most lines have
    out.reserve(out.size() + format.size() + kUsualValues);
    while (!format.empty()) {
        const std::size_t plain = format.find('%');
        out += format.substr(0, plain);
        if (plain == format.npos) {
            return;
        }
        format.remove_prefix(plain + 1);
        const FFormatSpec spec = FFormatSpec::take(format);
        if (spec.conversion == '%') {
            out += '%';
        } else {
            fAppendConversion(out, spec, *values++);
        }
    }
}

} // namespace Kvs
