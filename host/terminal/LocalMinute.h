#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace kvn::host {

/// A time as people write it: "2026-07-23 18:30", in local time.
std::string localMinuteText(std::chrono::system_clock::time_point time);

/// The time that is written so; nothing for a text of another form and for a time that the calendar or
/// the clock leaves out.
std::optional<std::chrono::system_clock::time_point> parseLocalMinute(const std::string& text);

} // namespace kvn::host
