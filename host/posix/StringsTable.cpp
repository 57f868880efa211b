// SPDX-License-Identifier: MIT

#include "host/posix/StringsTable.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace kvn::host {
namespace {

void appendUtf8(std::string& text, std::uint32_t codePoint) {
    const auto tail = [codePoint](unsigned shift) {
        return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
    };
    if (codePoint < 0x80) {
        text += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        text += {static_cast<char>(0xC0U | (codePoint >> 6U)), tail(0)};
    } else if (codePoint < 0x10000) {
        text += {static_cast<char>(0xE0U | (codePoint >> 12U)), tail(6), tail(0)};
    } else {
        text += {static_cast<char>(0xF0U | (codePoint >> 18U)), tail(12), tail(6), tail(0)};
    }
}

class Parser {
public:
    explicit Parser(std::string_view text) : rest_(text) {}

    StringsTable parse() {
        StringsTable table;
        take("\xEF\xBB\xBF");
        const std::string_view whole = rest_;
        std::size_t line = 1;
        const char* counted = whole.data();
        for (;;) {
            const std::string_view before = rest_;
            const bool clean = skipBlanks();
            if (clean && rest_.empty()) {
                return table;
            }
            const std::string_view entry = clean ? rest_ : before;
            if (!clean || !parseEntry(table)) {
                line += static_cast<std::size_t>(std::count(counted, entry.data(), '\n'));
                counted = entry.data();
                table.brokenLines.push_back(line);
                rest_ = entry.substr(std::min(entry.find('\n'), entry.size() - 1) + 1);
            }
        }
    }

private:
    bool take(std::string_view token) {
        const bool found = rest_.substr(0, token.size()) == token;
        if (found) {
            rest_.remove_prefix(token.size());
        }
        return found;
    }

    /// Skips white space and comments. Returns false at a comment without an end, before which it stops.
    bool skipBlanks() {
        for (;;) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
            if (rest_.substr(0, 2) == "//") {
                rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
            } else if (rest_.substr(0, 2) == "/*") {
                const std::size_t end = rest_.find("*/", 2);
                if (end == std::string_view::npos) {
                    return false;
                }
                rest_.remove_prefix(end + 2);
            } else {
                return true;
            }
        }
    }

    bool parseEntry(StringsTable& table) {
        const auto key = parseQuoted();
        if (!key || !skipBlanks() || !take("=") || !skipBlanks()) {
            return false;
        }
        auto value = parseQuoted();
        if (!value || !skipBlanks() || !take(";")) {
            return false;
        }
        table.texts.insert_or_assign(*key, std::move(*value));
        return true;
    }

    std::optional<std::string> parseQuoted() {
        if (!take("\"")) {
            return std::nullopt;
        }
        std::string text;
        for (;;) {
            const std::size_t plain = rest_.find_first_of("\"\\");
            if (plain == std::string_view::npos) {
                return std::nullopt;
            }
            text += rest_.substr(0, plain);
            rest_.remove_prefix(plain);
            if (take("\"")) {
                return text;
            }
            rest_.remove_prefix(1);
            if (!parseEscaped(text)) {
                return std::nullopt;
            }
        }
    }

    bool parseEscaped(std::string& text) {
        if (rest_.empty()) {
            return false;
        }
        if (take("U") || take("u")) {
            return parseCodePoint(text);
        }
        const char letter = rest_.front();
        rest_.remove_prefix(1);
        text += letter == 'n' ? '\n' : letter == 't' ? '\t' : letter == 'r' ? '\r' : letter;
        return true;
    }

    /// Reads one unit or, for a surrogate pair, two. Half a pair is an error.
    bool parseCodePoint(std::string& text) {
        const auto first = parseUnit();
        if (!first || (*first >= 0xDC00 && *first < 0xE000)) {
            return false;
        }
        if (*first < 0xD800 || *first >= 0xE000) {
            appendUtf8(text, *first);
            return true;
        }
        if (!take("\\U") && !take("\\u")) {
            return false;
        }
        const auto second = parseUnit();
        if (!second || *second < 0xDC00 || *second >= 0xE000) {
            return false;
        }
        appendUtf8(text, 0x10000U + ((*first - 0xD800U) << 10U) + (*second - 0xDC00U));
        return true;
    }

    std::optional<std::uint32_t> parseUnit() {
        constexpr std::size_t kDigits = 4;
        std::uint32_t unit = 0;
        const std::string_view digits = rest_.substr(0, kDigits);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
        if (error != std::errc() || end != digits.data() + kDigits) {
            return std::nullopt;
        }
        rest_.remove_prefix(kDigits);
        return unit;
    }

    std::string_view rest_;
};

} // namespace

StringsTable parseStringsTable(std::string_view text) { return Parser(text).parse(); }

} // namespace kvn::host
