#pragma once

#include <string_view>

namespace kvn::daemon {

/// Prints one line on standard output, at once, with control characters escaped. Main thread.
void print(std::string_view mark, std::string_view peer, std::string_view text);
void print(std::string_view line);

} // namespace kvn::daemon
