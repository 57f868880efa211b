// SPDX-License-Identifier: MIT

#include "core/text/TextFunctions.h"

#include <locale>
#include <sstream>

namespace Kvs {

namespace {

std::size_t digitsAt(std::string_view text, std::size_t from) {
    std::size_t at = from;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
        ++at;
    }
    return at - from;
}

std::size_t signAt(std::string_view text, std::size_t from) {
    return from < text.size() && (text[from] == '+' || text[from] == '-') ? 1 : 0;
}

/// Finds the end of the number, because libraries disagree on it in "12abc" or "1e".
std::size_t numberLength(std::string_view text) {
    std::size_t at = signAt(text, 0);
    std::size_t digits = digitsAt(text, at);
    at += digits;
    if (at < text.size() && text[at] == '.') {
        const std::size_t fraction = digitsAt(text, at + 1);
        at += 1 + fraction;
        digits += fraction;
    }
    if (digits == 0) {
        return 0;
    }
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        const std::size_t sign = signAt(text, at + 1);
        if (const std::size_t exponent = digitsAt(text, at + 1 + sign); exponent > 0) {
            at += 1 + sign + exponent;
        }
    }
    return at;
}

} // namespace

std::string fTextOfDouble(double value, int digits) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(digits);
    out << value;
    return out.str();
}

std::size_t fReadDouble(std::string_view text, double& value) {
    value = 0;
    const std::size_t length = numberLength(text);
    if (length > 0) {
        std::istringstream in{std::string(text.substr(0, length))};
        in.imbue(std::locale::classic());
        // The stream fails for a number out of range, but stores the nearest value all the same.
        in >> value;
    }
    return length;
}

} // namespace Kvs
