#include "core/text/FGStr.h"

#include <cstdio>

namespace Kvs {

template <>
FGStr<char> FGStr<char>::valueOf(double value, bool emptyWhenZero) {
    if (value == 0 && emptyWhenZero) {
        return {};
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return FGStr<char>(text);
}

} // namespace Kvs
