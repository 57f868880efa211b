// SPDX-License-Identifier: MIT

#include "remote/xml/FEncXmlWriter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Kvs {

namespace {

constexpr std::size_t kLongestEscape = 5;

std::string_view escapeOf(char unit) {
    switch (unit) {
    case '"':
        return "&#34;";
    case '&':
        return "&amp;";
    case '<':
        return "&#60;";
    case '>':
        return "&#62;";
    default:
        return {};
    }
}

template <class Word>
Word copyWord(char* to, const char* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    std::memcpy(to, &word, sizeof word);
    return word;
}

constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kHalf = sizeof(std::uint32_t);

/// Copies the text and returns the end. For texts as long as names, copying two words or half words, which
/// may overlap, is faster than a call.
inline char* put(char* to, std::string_view text) {
    const std::size_t length = text.size();
    if (length >= kWord && length <= 2 * kWord) {
        copyWord<std::uint64_t>(to, text.data());
        copyWord<std::uint64_t>(to + length - kWord, text.data() + length - kWord);
    } else if (length >= kHalf && length < kWord) {
        copyWord<std::uint32_t>(to, text.data());
        copyWord<std::uint32_t>(to + length - kHalf, text.data() + length - kHalf);
    } else {
        std::memcpy(to, text.data(), length);
    }
    return to + length;
}

constexpr std::uint64_t eightTimes(std::uint64_t byte) { return byte * 0x0101010101010101; }

/// Returns a number other than 0 if one of the eight bytes is 0.
constexpr std::uint64_t zeroByte(std::uint64_t bytes) {
    return (bytes - eightTimes(0x01)) & ~bytes & eightTimes(0x80);
}

/// Returns a number other than 0 if one of the eight bytes must be escaped. The characters of each pair
/// differ in a single bit.
constexpr std::uint64_t escapedByte(std::uint64_t bytes) {
    static_assert(('"' | 0x04) == '&' && ('<' | 0x02) == '>');
    return zeroByte((bytes | eightTimes(0x04)) ^ eightTimes('&')) |
           zeroByte((bytes | eightTimes(0x02)) ^ eightTimes('>'));
}

/// Copies the text as it is. Returns false if a character in it must be escaped; the copy is then unusable.
/// Works on whole words, so that the search costs little more than the copy.
bool copyPlain(char* to, std::string_view text) {
    const char* from = text.data();
    const std::size_t length = text.size();
    std::uint64_t escaped = 0;
    if (length >= kWord) {
        escaped = escapedByte(copyWord<std::uint64_t>(to, from));
        for (std::size_t at = kWord; at + kWord < length; at += kWord) {
            escaped |= escapedByte(copyWord<std::uint64_t>(to + at, from + at));
        }
        escaped |= escapedByte(copyWord<std::uint64_t>(to + length - kWord, from + length - kWord));
    } else if (length >= kHalf) {
        const std::uint64_t low = copyWord<std::uint32_t>(to, from);
        const std::uint64_t high = copyWord<std::uint32_t>(to + length - kHalf, from + length - kHalf);
        escaped = escapedByte(low | high << 32);
    } else {
        for (std::size_t at = 0; at < length; ++at) {
            escaped |= escapedByte(copyWord<std::uint8_t>(to + at, from + at));
        }
    }
    return escaped == 0;
}

/// Makes the characters from `begin`, the result of `out.reserve()`, to `end` part of the text.
void finish(FMStr<char>& out, const char* begin, const char* end) {
    out.setLength(out.length() + static_cast<std::size_t>(end - begin));
}

/// Appends the three texts in order.
inline void appendText(FMStr<char>& out, std::string_view before, std::string_view text,
                       std::string_view after) {
    char* const begin = out.reserve(before.size() + text.size() + after.size());
    finish(out, begin, put(put(put(begin, before), text), after));
}

void appendEscaped(FMStr<char>& out, std::string_view text) {
    const auto escaped =
        std::count_if(text.begin(), text.end(), [](char unit) { return !escapeOf(unit).empty(); });
    char* const begin = out.reserve(text.size() + static_cast<std::size_t>(escaped) * (kLongestEscape - 1));
    char* to = begin;
    for (const char unit : text) {
        const std::string_view escape = escapeOf(unit);
        if (escape.empty()) {
            *to++ = unit;
        } else {
            to = put(to, escape);
        }
    }
    finish(out, begin, to);
}

/// The units that an attribute has beside its name and value.
constexpr std::size_t kAttributeMarks = std::string_view(" =\"\"").size();

char* putAttributeName(char* to, std::string_view name) {
    *to++ = ' ';
    to = put(to, name);
    *to++ = '=';
    *to++ = '"';
    return to;
}

/// Writes the attribute and returns the end; returns null when its value must be escaped.
char* putPlainAttribute(char* to, std::string_view name, std::string_view value) {
    to = putAttributeName(to, name);
    if (!copyPlain(to, value)) {
        return nullptr;
    }
    to += value.size();
    *to++ = '"';
    return to;
}

void appendAttribute(FMStr<char>& out, std::string_view name, std::string_view value) {
    char* const begin = out.reserve(name.size() + value.size() + kAttributeMarks);
    if (const char* const end = putPlainAttribute(begin, name, value)) {
        finish(out, begin, end);
        return;
    }
    finish(out, begin, putAttributeName(begin, name));
    appendEscaped(out, value);
    out.append('"');
}

} // namespace

void FEncXmlWriter<char>::addOpenTag(FMStr<char>& out, FStrToken<char> name,
                                     const FEncXmlAttributeMap* attributes) {
    appendText(out, "<", name, "");
    if (attributes) {
        for (const auto& [attribute, value] : *attributes) {
            if (!attribute.empty() && !value.empty()) {
                appendAttribute(out, attribute, value);
            }
        }
    }
    out.append('>');
}

void FEncXmlWriter<char>::addElement(FMStr<char>& out, FStrToken<char> name,
                                     std::initializer_list<FEncXmlPair> attributes) {
    constexpr std::string_view kMarks = "<></>";
    std::size_t size = kMarks.size() + 2 * name.size();
    for (const auto& [attribute, value] : attributes) {
        size += attribute.size() + value.size() + kAttributeMarks;
    }
    char* begin = out.reserve(size);
    char* to = begin;
    *to++ = '<';
    to = put(to, name);
    for (const auto& [attribute, value] : attributes) {
        if (attribute.empty() || value.empty()) {
            continue;
        }
        if (char* const end = putPlainAttribute(to, attribute, value)) {
            to = end;
        } else {
            finish(out, begin, to);
            appendAttribute(out, attribute, value);
            to = begin = out.reserve(size);
        }
    }
    to = put(put(put(to, "></"), name), ">");
    finish(out, begin, to);
}

void FEncXmlWriter<char>::addTag(FMStr<char>& out, FStrToken<char> name, FStrToken<char> attrName,
                                 FStrToken<char> attrValue) {
    constexpr std::string_view kEnd = " />";
    char* const begin =
        out.reserve(1 + name.size() + attrName.size() + attrValue.size() + kAttributeMarks + kEnd.size());
    *begin = '<';
    char* to = put(begin + 1, name);
    char* const end = attrName.empty() ? to : putPlainAttribute(to, attrName, attrValue);
    if (end) {
        finish(out, begin, put(end, kEnd));
        return;
    }
    finish(out, begin, to);
    appendAttribute(out, attrName, attrValue);
    out.append(kEnd);
}

void FEncXmlWriter<char>::addCloseTag(FMStr<char>& out, FStrToken<char> name) {
    appendText(out, "</", name, ">");
}

void FEncXmlWriter<char>::addEncoded(FMStr<char>& out, const char* text, long length) {
    if (!text) {
        return;
    }
    std::size_t size = 0;
    if (length < 0) {
        size = std::strlen(text);
    } else {
        size = static_cast<std::size_t>(length);
        if (const void* end = std::memchr(text, 0, size)) {
            size = static_cast<std::size_t>(static_cast<const char*>(end) - text);
        }
    }
    appendEscaped(out, {text, size});
}

} // namespace Kvs
