#pragma once

#include <string>

namespace Kvs {

/// The text with "A" to "Z" in lower case, whatever the locale; all else stays.
template <class C>
std::basic_string<C> fLowerAscii(std::basic_string<C> text) {
    for (C& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<C>(c - 'A' + 'a') : c;
    }
    return text;
}

} // namespace Kvs
