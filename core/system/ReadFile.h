#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Kvs {

/// Reads a descriptor from its position to the end. Nothing, with `errno` set, on failure and (EFBIG)
/// when there are more than `limit` bytes. Any thread.
std::optional<std::string> fReadAll(int descriptor, std::size_t limit);

/// `fReadAll` of the file at the path; never waits for a writer of a pipe in its place. Any thread.
std::optional<std::string> fReadFile(const std::string& path, std::size_t limit);

} // namespace Kvs
