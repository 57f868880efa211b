#pragma once

#include "host/DialogWindow.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kvn::host {

/// The table in lines of at most the width, as long as that leaves its columns one character each: the
/// titles, a rule, the rows. Columns that are too wide share what is left; their texts are wrapped.
std::vector<std::string> tableLines(const DialogTable& table, std::size_t width);

} // namespace kvn::host
