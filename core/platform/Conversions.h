#pragma once

#include "core/text/Widening.h"
#include "core/time/FTime.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Between the core library's types and those of the application layer. Any thread.
namespace Kvs {

inline FGStr<wchar_t> FWStringFromString(std::string_view utf8) { return fWiden(utf8); }
inline std::string StringFromFWString(const FGStr<wchar_t>& wide) { return fNarrow(wide); }

/// Whole seconds of UTC; the milliseconds are 0.
FTime FTimeWithDate(std::chrono::system_clock::time_point date);

/// Whole seconds of UTC, without the milliseconds; nothing for a time that is no date, a cleared one above
/// all.
std::optional<std::chrono::system_clock::time_point> DateWithFTime(const FTime& time);

} // namespace Kvs
