// SPDX-License-Identifier: MIT

#include "core/text/FGStr.h"

#include "core/text/TextFunctions.h"

namespace Kvs {

template <>
FGStr<char> FGStr<char>::valueOf(double value, bool emptyWhenZero) {
    if (value == 0 && emptyWhenZero) {
        return {};
    }
    return FGStr<char>(fTextOfDouble(value, 15));
}

FGStr<wchar_t> fWiden(std::string_view utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    for (const char byte : utf8) {
        wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
    return FGStr<wchar_t>(std::move(wide));
}

std::string fNarrow(FStrToken<wchar_t> wide) {
    std::string utf8;
    utf8.reserve(wide.size());
    for (const wchar_t unit : wide) {
        utf8.push_back(static_cast<char>(unit & 0xFF));
    }
    return utf8;
}

} // namespace Kvs
