#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvn::daemon {

/// The first word of a text, its double quotes kept, and the rest; both without white space around.
/// White space between double quotes is part of a word.
std::pair<std::string, std::string> firstWord(std::string_view text);

/// All words of a text without their double quotes.
std::vector<std::string> words(std::string_view text);

/// The number of a text that is nothing but decimal digits.
std::optional<int> wholeNumber(std::string_view text);

} // namespace kvn::daemon
