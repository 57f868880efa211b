#pragma once

#include "core/text/FGStr.h"

#include <array>
#include <cstdint>

namespace Kvs {

/// A globally unique identifier and its text form, {6f9619ff-8b86-d011-b42d-00c04fc964ff}.
struct FGUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;
    std::array<std::uint8_t, 8> Data4{};

    /// 38 characters, lower case.
    FGStr<char> toCString() const;
    operator FGStr<char>() const { return toCString(); }
    bool operator==(const FGUID&) const = default;
};

} // namespace Kvs
