// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// These functions lay out text in the columns of a terminal. It is UTF-8 in any script, whatever the locale
// is.

namespace kvn::host {

/// The properties of the terminal that texts are laid out for.
struct Style {
    std::size_t width = 80; // columns
    bool colours = false;
    std::string disabled = "disabled"; // the word behind what cannot be chosen
};

/// The colours' numbers in ECMA-48.
enum class Colour { Red = 31, Green = 32, Yellow = 33, Grey = 90 };

std::string inColour(const std::string& text, Colour colour, const Style& style);

/// Returns the text as one line that cannot control a terminal: line ends and tabs become blanks; other
/// control characters, those that change the direction of writing and bytes that are not UTF-8 become U+FFFD.
std::string harmless(std::string_view text);

/// Returns the columns that a harmless text takes: two for a wide character, none for a combining mark.
std::size_t displayWidth(std::string_view harmlessText);

/// Returns the harmless text with blanks behind it up to the width.
std::string padded(std::string harmlessText, std::size_t width);

/// Returns the text in harmless lines: one for each of its own. Lines that are too long for the width are
/// broken between words, or within a word that is too long itself. Returns at least one line.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

} // namespace kvn::host
