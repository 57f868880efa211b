// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/TerminalPane.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kvn::host {

/// Returns true if the user can change or press the line's control; other lines are only shown.
bool hasNumber(const DialogLine& line);

/// Returns the text that names the line's control.
std::string nameOf(const DialogLine& line);

/// Returns true for a label that ends in a colon, of whatever script.
bool endsInColon(std::string_view label);

/// Returns the line of the number, counted from 1, or null when there is none.
const DialogLine* numberedLine(const DialogLines& lines, std::size_t number);

/// Returns the choice that presses the line's control: a check box changes, a button is pressed, and others
/// answer which value they take.
Choice press(const DialogLine& line);

/// Returns the choice that sets the line's control: a check box to "on" or "off", a folder to the path of one
/// that exists or can be made, a date to a time "YYYY-MM-DD HH:MM".
Choice setTo(const DialogLine& line, const std::string& value);

/// Returns the time in local time, in the form "2026-07-23 18:30".
std::string localMinuteText(std::chrono::system_clock::time_point time);

/// Reads such a text. Returns nullopt for a text of another form, and for a time that does not exist in the
/// calendar or is skipped by the clock.
std::optional<std::chrono::system_clock::time_point> parseLocalMinute(const std::string& text);

} // namespace kvn::host
