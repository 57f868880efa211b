#include "core/text/FGUID.h"

#include <cstdio>

namespace Kvs {

FGStr<char> FGUID::toCString() const {
    char text[39];
    std::snprintf(text, sizeof text, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", Data1, Data2,
                  Data3, Data4[0], Data4[1], Data4[2], Data4[3], Data4[4], Data4[5], Data4[6], Data4[7]);
    return FGStr<char>(text);
}

} // namespace Kvs
