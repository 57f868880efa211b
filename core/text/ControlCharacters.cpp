// SPDX-License-Identifier: MIT

#include "core/text/ControlCharacters.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace Kvs {

namespace {

struct Character {
    std::uint32_t code;
    std::size_t size; // in bytes
};

/// Returns the number of bytes that a character with this first byte has; 1 when UTF-8 has no such byte
/// there.
constexpr std::size_t sizeFromLead(unsigned char lead) {
    return lead >= 0xC2 && lead <= 0xDF   ? 2
           : (lead & 0xF0) == 0xE0        ? 3
           : lead >= 0xF0 && lead <= 0xF4 ? 4
                                          : 1;
}

/// Returns the character at the beginning of a text that is not empty.
Character characterAt(std::string_view text) {
    constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000}; // that needs so many bytes
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t size = sizeFromLead(lead);
    if (size > 1 && size <= text.size()) {
        std::uint32_t code = lead & (0xFFU >> (size + 1));
        const auto rest = text.substr(1, size - 1);
        for (const char next : rest) {
            code = code << 6 | (static_cast<unsigned char>(next) & 0x3FU);
        }
        const bool whole = std::all_of(rest.begin(), rest.end(), [](char next) {
            return (static_cast<unsigned char>(next) & 0xC0) == 0x80;
        });
        if (whole && code >= kSmallest[size]) {
            return {code, size};
        }
    }
    return {lead, 1};
}

constexpr bool isControl(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

constexpr bool isPlainAscii(char c) { return c >= ' ' && c < 0x7F; }

/// Returns true if all eight bytes are plain; each byte has its answer in its highest bit.
constexpr bool arePlainAscii(std::uint64_t bytes) {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    const std::uint64_t below =
        bytes - ' ' * kEach; // borrows from the next byte only after a byte that is not plain
    const std::uint64_t above = bytes + 1 * kEach; // carries only after a byte that is not plain
    return ((bytes | below | above) & 0x80 * kEach) == 0;
}

/// Decides eight bytes at a time, as log lines insert many short plain texts. The last eight may overlap
/// those before.
bool isPlainAscii(std::string_view text) {
    std::uint64_t bytes = 0;
    if (text.size() < sizeof bytes) {
        return std::all_of(text.begin(), text.end(), [](char c) { return isPlainAscii(c); });
    }
    for (std::size_t at = 0;; at = std::min(at + sizeof bytes, text.size() - sizeof bytes)) {
        std::memcpy(&bytes, text.data() + at, sizeof bytes);
        if (!arePlainAscii(bytes) || at + sizeof bytes == text.size()) {
            return arePlainAscii(bytes);
        }
    }
}

/// Returns the position of the first control character, or the text's size.
std::size_t plainLength(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (isPlainAscii(text[at])) {
            ++at;
            continue;
        }
        const Character character = characterAt(text.substr(at));
        if (isControl(character.code)) {
            break;
        }
        at += character.size;
    }
    return at;
}

void appendEscape(std::string& out, const Character& character) {
    switch (character.code) {
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    default:
        char escape[16];
        std::snprintf(escape, sizeof escape, character.size == 1 ? "\\x%02x" : "\\u%04x", character.code);
        out += escape;
    }
}

} // namespace

bool fHasControlCharacters(std::string_view text) {
    return !isPlainAscii(text) && plainLength(text) < text.size();
}

std::string fControlCharactersEscaped(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t plain = plainLength(text);
        out += text.substr(0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) {
            const Character character = characterAt(text);
            appendEscape(out, character);
            text.remove_prefix(character.size);
        }
    }
    return out;
}

} // namespace Kvs
