// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Functions on standard strings that do not depend on the locale. Any thread.
namespace Kvs {

/// The characters that separate words.
inline constexpr std::string_view kBlanks = " \t\r\n";

/// Returns the text without the blanks around it.
constexpr std::string_view fTrimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Returns the text with "A" to "Z" in lower case and everything else unchanged.
template <class C>
std::basic_string<C> fLowerAscii(std::basic_string<C> text) {
    for (C& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<C>(c - 'A' + 'a') : c;
    }
    return text;
}

/// Compares versions number by number, as 64-bit integers; a missing number, and a part that does not begin
/// with one, counts as 0. Returns true if the first version is the older one.
bool fIsOlderVersion(const std::string& version, const std::string& other);

/// Formats the value as `%g` does with a precision of `digits`, of which 17 keep every value.
std::string fTextOfDouble(double value, int digits);

/// Reads the decimal number that the text begins with and returns its length; 0, with the value 0, when
/// there is none. A number out of range becomes the nearest value.
std::size_t fReadDouble(std::string_view text, double& value);

} // namespace Kvs
