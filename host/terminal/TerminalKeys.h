// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string_view>

// These functions tell apart the keys in the bytes that a terminal sends.

namespace kvn::host {

/// Returns the length of the key that the bytes begin with: a character in UTF-8, or a sequence that begins
/// with ESC. Returns 0 while the key is not complete.
std::size_t lengthOfKey(std::string_view bytes);

/// Returns true for a sequence that is none of the arrows, Home, End and Delete. libedit has no command for
/// it and would take its last characters for text.
bool isUnknown(std::string_view key);

} // namespace kvn::host
