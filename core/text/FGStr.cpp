// SPDX-License-Identifier: MIT

#include "core/text/FGStr.h"

#include "core/text/TextFunctions.h"

#include <algorithm>

namespace Kvs {

template <>
FGStr<char> FGStr<char>::valueOf(double value, bool emptyWhenZero) {
    if (value == 0 && emptyWhenZero) {
        return {};
    }
    return FGStr<char>(fTextOfDouble(value, 15));
}

// Both fill a text that has its length already, so that the compiler converts several units at a time.

FGStr<wchar_t> fWiden(std::string_view utf8) {
    std::wstring wide(utf8.size(), L'\0');
    std::transform(utf8.begin(), utf8.end(), wide.data(),
                   [](char byte) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)); });
    return FGStr<wchar_t>(std::move(wide));
}

std::string fNarrow(FStrToken<wchar_t> wide) {
    std::string utf8(wide.size(), '\0');
    std::transform(wide.begin(), wide.end(), utf8.data(),
                   [](wchar_t unit) { return static_cast<char>(unit & 0xFF); });
    return utf8;
}

} // namespace Kvs
