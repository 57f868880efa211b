#include "standins/service-daemon/Words.h"

#include "core/text/TextFunctions.h"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace kvn::daemon {

using Kvs::fTrimmed;
using Kvs::kBlanks;

std::pair<std::string, std::string> firstWord(std::string_view text) {
    text = fTrimmed(text);
    bool quoted = false;
    const auto end = std::find_if(text.begin(), text.end(), [&](char c) {
        quoted ^= c == '"';
        return !quoted && kBlanks.find(c) != kBlanks.npos;
    });
    const auto length = static_cast<std::size_t>(end - text.begin());
    return {std::string(text.substr(0, length)), std::string(fTrimmed(text.substr(length)))};
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> found;
    for (auto [word, rest] = firstWord(text); !word.empty(); std::tie(word, rest) = firstWord(rest)) {
        std::erase(word, '"');
        found.push_back(word);
    }
    return found;
}

std::optional<int> wholeNumber(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) {
        return std::nullopt;
    }
    return value;
}

} // namespace kvn::daemon
