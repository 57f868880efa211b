// SPDX-License-Identifier: MIT

#include "core/text/TextFunctions.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <locale>
#include <sstream>
#include <vector>

namespace Kvs {

namespace {

std::size_t digitsAt(std::string_view text, std::size_t from) {
    std::size_t at = from;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
        ++at;
    }
    return at - from;
}

/// Returns the numbers between the dots; one out of range becomes the nearest limit.
std::vector<std::int64_t> numbersOf(const std::string& version) {
    std::vector<std::int64_t> numbers;
    std::size_t begin = 0;
    do {
        numbers.push_back(std::strtoll(version.c_str() + begin, nullptr, 10));
        begin = version.find('.', begin) + 1; // 0 behind the last part
    } while (begin > 0);
    return numbers;
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

bool fIsOlderVersion(const std::string& version, const std::string& other) {
    auto left = numbersOf(version);
    auto right = numbersOf(other);
    left.resize(std::max(left.size(), right.size()));
    right.resize(left.size());
    return left < right;
}

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
