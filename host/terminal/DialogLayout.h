#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/TextLayout.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kvn::host {

/// The dialog in harmless lines that fit the width: its title, then its lines, values in one column, the
/// controls numbered from 1.
std::string dialogText(const std::string& title, const DialogLines& lines, const Style& style);

/// The table in lines of at most the width, as long as that leaves its columns one character each: the
/// titles, a rule, the rows. Columns that are too wide share the space that is left; their texts are wrapped.
std::vector<std::string> tableLines(const DialogTable& table, std::size_t width);

} // namespace kvn::host
