// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/TextLayout.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kvn::host {

/// Returns the dialog in harmless lines that fit the width: its title, then its lines. The values are in one
/// column, and the controls are numbered from 1.
std::string dialogText(const std::string& title, const DialogLines& lines, const Style& style);

/// Returns the title and those rows of a dialog's text that differ from its text before; the whole text if it
/// has more or fewer rows.
std::string changedRows(const std::string& before, const std::string& after);

/// Returns the table in lines of at most the width, unless its columns would be narrower than one character:
/// the titles, a rule, the rows. Columns that are too wide share the remaining width; their texts are
/// wrapped.
std::vector<std::string> tableLines(const DialogTable& table, std::size_t width);

} // namespace kvn::host
