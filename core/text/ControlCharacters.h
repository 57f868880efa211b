// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

/// The characters by which a text could end its line, control a terminal, or appear at another place than it
/// has: the control characters of ASCII and Latin-1, the separators of lines and paragraphs, and the signs
/// that turn the direction of writing. A byte that is not UTF-8 counts as a character of Latin-1. Any thread.
namespace Kvs {

/// Returns true if the text contains such a character.
bool fHasControlCharacters(std::string_view text);

/// Returns the text with "\n", "\r", "\t", "\x1b" or "\u2028" in place of each such character.
std::string fControlCharactersEscaped(std::string_view text);

} // namespace Kvs
