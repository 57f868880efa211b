// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Kvs {

/// Reads a descriptor from its position to the end. Returns nullopt, with `errno` set, on failure and (EFBIG)
/// when there are more than `limit` bytes. Any thread.
std::optional<std::string> fReadAll(int descriptor, std::size_t limit);

/// Reads the file at the path in the same way. If it is a named pipe, does not wait for a writer. Any thread.
std::optional<std::string> fReadFile(const std::string& path, std::size_t limit);

} // namespace Kvs
