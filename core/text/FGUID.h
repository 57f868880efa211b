// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace Kvs {

/// A globally unique identifier and its text form, {6f9619ff-8b86-d011-b42d-00c04fc964ff}.
struct FGUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::array<std::uint8_t, 8> Data4{};

    /// Returns 38 characters, in lower case.
    FGStr<char> toCString() const {
        char text[39];
        std::snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", Data1, Data2,
                      Data3, Data4[0], Data4[1], Data4[2], Data4[3], Data4[4], Data4[5], Data4[6], Data4[7]);
        return FGStr<char>(text);
    }

    operator FGStr<char>() const { return toCString(); }
    bool operator==(const FGUID&) const = default;
};

} // namespace Kvs
