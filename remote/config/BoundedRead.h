#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Kvs {

/// Reads a descriptor from its position to the end. Nothing, with `errno` set, on failure and (EFBIG)
/// when there is more than `limit` bytes.
std::optional<std::string> fReadUpTo(std::size_t limit, int descriptor);

} // namespace Kvs
