// SPDX-License-Identifier: MIT

#pragma once

#include "remote/xml/ByteScan.h"
#include "remote/xml/FEncXmlTree.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Kvs {

/// Iterates over the marks of a text: the units `<`, `=`, `>` and `"`, which alone decide where names, values
/// and text begin and end.
template <class C>
class MarkCursor {
public:
    MarkCursor(const C* text, std::size_t length) : text_(text), length_(length) { readBlock(); }

    const C* text() const { return text_; }
    std::size_t length() const { return length_; }

    /// Takes the next mark and returns its position; `length()` when there is no more.
    std::size_t next() {
        while (marks_ == 0) {
            if (length_ - block_ <= ByteScan::kBlock) {
                return length_;
            }
            block_ += ByteScan::kBlock;
            readBlock();
        }
        const std::size_t position = block_ + static_cast<std::size_t>(std::countr_zero(marks_));
        marks_ &= marks_ - 1;
        return position;
    }

    /// Takes marks up to and including the next one that is one of the wanted; returns as `next`.
    template <char... wanted>
    std::size_t nextOf() {
        std::size_t position = next();
        while (position != length_ && ((text_[position] != static_cast<C>(wanted)) && ...)) {
            position = next();
        }
        return position;
    }

    /// Skips the marks before `position`, which is at most the text's length.
    void skipTo(std::size_t position) {
        while (position - block_ >= ByteScan::kBlock && length_ - block_ > ByteScan::kBlock) {
            block_ += ByteScan::kBlock;
            readBlock();
        }
        const std::size_t skipped = position - block_;
        marks_ = skipped < ByteScan::kBlock ? marks_ & (~std::uint64_t{0} << skipped) : 0;
    }

private:
    void readBlock() { marks_ = ByteScan::matches<'<', '=', '>', '"'>(text_ + block_, length_ - block_); }

    const C* text_;
    std::size_t length_;
    std::size_t block_ = 0;
    std::uint64_t marks_ = 0;
};

template <class C>
constexpr bool isXmlBlank(C unit) {
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

inline FEncXmlSpan xmlSpan(std::size_t begin, std::size_t end) {
    return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
}

struct ScannedTag {
    FEncXmlSpan name;
    std::size_t end = 0; ///< position of the ">"
    bool selfClosing = false;
};

/// Returns true if the unit can be part of a name or an unquoted value.
template <class C>
constexpr bool isXmlWordUnit(C unit) {
    return unit != ' ' && unit != '>';
}

/// Finds the end of the attribute value behind the "=" at `equals`, which is the last mark taken, and takes
/// the marks up to there: the closing quote, the space or the ">" of the tag. `begin` becomes the value's
/// first position.
template <class C>
std::size_t scanValue(MarkCursor<C>& marks, std::size_t equals, std::size_t& begin) {
    const C* text = marks.text();
    const std::size_t length = marks.length();
    begin = equals + 1;
    if (begin != length && text[begin] == '"') {
        ++begin;
        marks.next();
        return marks.template nextOf<'"', '>'>();
    }
    std::size_t end = begin;
    while (end != length && isXmlWordUnit(text[end])) {
        ++end;
    }
    marks.skipTo(end);
    if (end != length && text[end] == '>') {
        marks.next();
    }
    return end;
}

/// Scans the tag whose "<", at `begin`, is the last mark taken, and calls `add(name, value)` for each
/// attribute. Returns false when the text ends before a ">" or when `add` returns false.
///
/// The first ">" ends the tag, also between quotes. The name ends at the first blank (the space alone),
/// an attribute's name at "=", a quoted value at the next quote, an unquoted one at the next space. Each of
/// them ends at the end of the tag at the latest, and the closing slash of the tag is not part of it.
template <class C, class Add>
bool scanTag(MarkCursor<C>& marks, std::size_t begin, ScannedTag& tag, Add&& add) {
    const C* text = marks.text();
    const std::size_t length = marks.length();

    /// Returns where the last name or value of the tag ends.
    const auto endTag = [&](std::size_t end) {
        tag.end = end;
        tag.selfClosing = text[end - 1] == '/';
        return end - (tag.selfClosing ? 1 : 0);
    };

    std::size_t at = begin + 1;
    while (at != length && isXmlWordUnit(text[at])) {
        ++at;
    }
    if (at == length) {
        return false;
    }
    marks.skipTo(at);
    if (text[at] == '>') {
        marks.next();
        tag.name = xmlSpan(begin + 1, endTag(at));
        return true;
    }
    tag.name = xmlSpan(begin + 1, at);

    for (;;) {
        while (at != length && isXmlBlank(text[at])) {
            ++at;
        }
        const std::size_t nameEnd = marks.template nextOf<'=', '>'>();
        if (nameEnd == length) {
            return false;
        }
        if (text[nameEnd] == '>') {
            endTag(nameEnd);
            return true;
        }
        std::size_t value = 0;
        const std::size_t end = scanValue(marks, nameEnd, value);
        if (end == length) {
            return false;
        }
        const bool last = text[end] == '>';
        if (!add(xmlSpan(at, nameEnd), xmlSpan(value, last ? endTag(end) : end))) {
            return false;
        }
        if (last) {
            return true;
        }
        at = end + 1;
    }
}

} // namespace Kvs
