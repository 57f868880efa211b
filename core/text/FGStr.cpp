#include "core/text/FGStr.h"

#include "core/text/DoubleText.h"

namespace Kvs {

template <>
FGStr<char> FGStr<char>::valueOf(double value, bool emptyWhenZero) {
    if (value == 0 && emptyWhenZero) {
        return {};
    }
    return FGStr<char>(fTextOfDouble(value, 15));
}

} // namespace Kvs
