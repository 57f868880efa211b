#pragma once

#include "core/text/FGStr.h"

#include <string>
#include <string_view>

namespace Kvs {

/// Widens text byte by byte: each UTF-8 byte becomes one unit of the wide string.
FGStr<wchar_t> fWiden(std::string_view utf8);

/// Narrows every unit to its low 8 bits, which gives the UTF-8 bytes back.
std::string fNarrow(FStrToken<wchar_t> wide);
inline std::string fNarrow(const FGStr<wchar_t>& wide) { return fNarrow(wide.token()); }

} // namespace Kvs
