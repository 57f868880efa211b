#pragma once

#include "core/time/FTime.h"

#include <chrono>
#include <optional>

/// Between the core library's times and those of the application layer. Any thread.
namespace Kvs {

/// Whole seconds of UTC; the milliseconds are 0.
FTime FTimeWithDate(std::chrono::system_clock::time_point date);

/// Whole seconds of UTC, without the milliseconds; nothing for a time that is no date, a cleared one above
/// all.
std::optional<std::chrono::system_clock::time_point> DateWithFTime(const FTime& time);

} // namespace Kvs
