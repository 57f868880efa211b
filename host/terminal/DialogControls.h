#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/TerminalPane.h"

#include <cstddef>
#include <string>

namespace kvn::host {

/// What a person can change or press; the others are only shown.
bool isControl(const DialogRow& row);

/// The control of the number, counted from 1; null when there is none.
const DialogRow* controlAt(const DialogRows& rows, std::size_t number);

/// What pressing the control does: a check box changes, a button is pressed, others ask for a value.
Choice press(const DialogRow& control);

/// What setting the control does: "on" or "off" for a check box, the path of an existing folder, a time
/// "YYYY-MM-DD HH:MM".
Choice setTo(const DialogRow& control, const std::string& value);

} // namespace kvn::host
