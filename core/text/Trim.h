#pragma once

#include <string_view>

namespace Kvs {

/// What separates words in the texts that people write.
inline constexpr std::string_view kBlanks = " \t\r\n";

/// The text without the blanks around it.
constexpr std::string_view fTrimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

} // namespace Kvs
