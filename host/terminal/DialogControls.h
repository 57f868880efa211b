#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/TerminalPane.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace kvn::host {

/// Returns true if a person can change or press the line's control; other lines are only shown.
bool hasNumber(const DialogLine& line);

/// Returns the line of the number, counted from 1, or null when there is none.
const DialogLine* numberedLine(const DialogLines& lines, std::size_t number);

/// Presses the line's control: a check box changes, a button is pressed, others ask for a value.
Choice press(const DialogLine& line);

/// Sets the line's control: a check box to "on" or "off", a folder to the path of one that exists, a date to
/// a time "YYYY-MM-DD HH:MM".
Choice setTo(const DialogLine& line, const std::string& value);

/// A time as people write it: "2026-07-23 18:30", in local time.
std::string localMinuteText(std::chrono::system_clock::time_point time);

/// Reads such a time. Returns nullopt for a text of another form, and for a time that the calendar or the
/// clock leaves out.
std::optional<std::chrono::system_clock::time_point> parseLocalMinute(const std::string& text);

} // namespace kvn::host
