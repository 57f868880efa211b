// SPDX-License-Identifier: MIT

#include "host/terminal/TerminalKeys.h"

#include <algorithm>

namespace kvn::host {

namespace {

constexpr char kEscape = '\033';
constexpr std::size_t kLongestKey = 32; // no terminal sends a longer sequence

std::size_t utf8Length(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
}

} // namespace

std::size_t lengthOfKey(std::string_view bytes) {
    if (bytes.empty()) {
        return 0;
    }
    std::size_t length = utf8Length(bytes[0]);
    if (bytes[0] == kEscape) {
        if (bytes.size() < 2) {
            return 0;
        }
        if (bytes[1] == '[') {
            const auto end = std::find_if(bytes.begin() + 2, bytes.end(), [](char c) { return c >= '@'; });
            length =
                end == bytes.end() ? bytes.size() + 1 : static_cast<std::size_t>(end - bytes.begin()) + 1;
        } else {
            length = bytes[1] == 'O' ? 3 : 1 + utf8Length(bytes[1]);
        }
    }
    return length <= bytes.size() ? length : bytes.size() >= kLongestKey ? 1 : 0;
}

bool isUnknown(std::string_view key) {
    constexpr std::string_view kLetters = "ABCDHF";
    constexpr std::string_view kNumbers = "13478";
    const bool sequence = key.starts_with("\033[") || key.starts_with("\033O");
    const bool letter = key.size() == 3 && kLetters.find(key[2]) != key.npos;
    const bool number = key.size() == 4 && kNumbers.find(key[2]) != key.npos && key[3] == '~';
    return sequence && !letter && !number;
}

} // namespace kvn::host
