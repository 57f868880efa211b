#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace kvn::host {

/// The content of a file of at most `limit` bytes; nothing when it cannot be read or is longer.
std::optional<std::string> readFile(const std::string& path, std::size_t limit);

} // namespace kvn::host
