// SPDX-License-Identifier: MIT

#include "host/terminal/TextLayout.h"

#include <algorithm>
#include <utf8proc.h>
#include <utility>

namespace kvn::host {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

/// The character at the beginning of a text. A byte that is not UTF-8 is a character of its own.
struct Character {
    explicit Character(std::string_view text) {
        const auto count = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                            static_cast<utf8proc_ssize_t>(text.size()), &code);
        valid = count > 0;
        size = valid ? static_cast<std::size_t>(count) : 1;
    }
    utf8proc_int32_t code = 0;
    std::size_t size = 1;
    bool valid = false;
};

bool turnsDirection(utf8proc_int32_t code) {
    return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string_view harmlessForm(const Character& character, std::string_view itself) {
    if (!character.valid || turnsDirection(character.code)) {
        return kReplacement;
    }
    switch (utf8proc_category(character.code)) {
    case UTF8PROC_CATEGORY_CC:
        return character.code >= '\t' && character.code <= '\r' ? " " : kReplacement;
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return " ";
    default:
        return itself;
    }
}

/// The first visible character of a harmless text that is not empty: a base with its marks, or several signs
/// that are joined to one.
struct Cluster {
    explicit Cluster(std::string_view text) {
        utf8proc_int32_t before = 0;
        utf8proc_int32_t state = 0;
        std::size_t size = 0;
        while (size < text.size()) {
            const Character next(text.substr(size));
            if (size > 0 && utf8proc_grapheme_break_stateful(before, next.code, &state)) {
                break;
            }
            width += static_cast<std::size_t>(std::max(0, utf8proc_charwidth(next.code)));
            before = next.code;
            size += next.size;
        }
        width = std::min<std::size_t>(width, 2);
        bytes = text.substr(0, size);
    }
    std::string_view bytes;
    std::size_t width = 0;
};

std::string_view withoutBlanksAtEnd(std::string_view text) {
    const auto last = text.find_last_not_of(' ');
    return text.substr(0, last == text.npos ? 0 : last + 1);
}

/// Fills lines with the clusters of one paragraph.
class LineFiller {
public:
    LineFiller(std::size_t width, std::vector<std::string>& lines) : width_(width), lines_(lines) {}

    void add(const Cluster& cluster) {
        const bool blank = cluster.bytes == " ";
        if (blank && continued_ && line_.empty()) {
            return;
        }
        const bool wide = cluster.width == 2; // such scripts have no blanks between words
        if (wide) {
            breakAt_ = line_.size();
        }
        if (lineWidth_ + cluster.width > width_ && !line_.empty()) {
            breakLine(blank);
            if (blank) {
                return;
            }
        }
        line_ += cluster.bytes;
        lineWidth_ += cluster.width;
        if (blank || wide) {
            breakAt_ = line_.size();
        }
    }
    void finish() {
        if (!continued_ || !line_.empty()) {
            lines_.push_back(std::move(line_));
        }
    }

private:
    void breakLine(bool atEnd) {
        std::string rest;
        if (!atEnd && breakAt_ > 0) {
            rest = line_.substr(breakAt_);
            line_.resize(breakAt_);
        }
        if (const auto shown = withoutBlanksAtEnd(line_); !shown.empty()) {
            lines_.emplace_back(shown);
        }
        continued_ = true;
        line_ = std::move(rest);
        lineWidth_ = displayWidth(line_);
        breakAt_ = 0;
    }

    const std::size_t width_;
    std::vector<std::string>& lines_;
    std::string line_;
    std::size_t lineWidth_ = 0;
    bool continued_ = false;  // the paragraph has been broken
    std::size_t breakAt_ = 0; // where the line may be broken; 0: nowhere
};

} // namespace

std::string inColour(const std::string& text, Colour colour, const Style& style) {
    return style.colours ? "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m" : text;
}

std::string harmless(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character character(text);
        result += harmlessForm(character, text.substr(0, character.size));
        text.remove_prefix(character.size);
    }
    return result;
}

std::size_t displayWidth(std::string_view harmlessText) {
    std::size_t width = 0;
    while (!harmlessText.empty()) {
        const Cluster cluster(harmlessText);
        width += cluster.width;
        harmlessText.remove_prefix(cluster.bytes.size());
    }
    return width;
}

std::string padded(std::string harmlessText, std::size_t width) {
    const std::size_t own = displayWidth(harmlessText);
    return harmlessText.append(own < width ? width - own : 0, ' ');
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    for (;;) {
        const auto end = text.find('\n');
        const std::string paragraph = harmless(text.substr(0, end));
        LineFiller filler(width, lines);
        for (std::string_view rest = paragraph; !rest.empty();) {
            const Cluster cluster(rest);
            filler.add(cluster);
            rest.remove_prefix(cluster.bytes.size());
        }
        filler.finish();
        if (end == text.npos) {
            return lines;
        }
        text.remove_prefix(end + 1);
    }
}

} // namespace kvn::host
