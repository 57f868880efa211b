// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Kvs {

/// A view into a document's text. It is still encoded (see `FEncXml::addDecoded`), not NUL-terminated, and
/// valid as long as the text it was taken from.
template <class C>
struct FEncXmlFragment {
    const C* text = nullptr;
    std::int64_t length = 0;

    FStrToken<C> token() const { return {text, static_cast<std::size_t>(length)}; }
    bool isEmpty() const { return length == 0; }

    /// Returns true for the same characters; false for null.
    bool operator==(const C* other) const { return other && token() == other; }
    bool operator==(const FEncXmlFragment& other) const { return token() == other.token(); }
};

/// A piece of a document's text by position.
struct FEncXmlSpan {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

/// A parsed document: flat arrays in document order, which refer to the text and to each other by index. An
/// element needs no allocation of its own, and a tree that is filled again keeps its memory.
template <class C>
struct FEncXmlTree {
    struct Attribute {
        FEncXmlSpan name;
        FEncXmlSpan value;
    };

    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    /// A run of characters between two tags; `next` is the next one of the same element.
    struct Text {
        FEncXmlSpan span;
        std::uint32_t next = kNone;
    };

    /// Elements are stored in the order of their start tags: the first child of an element directly follows
    /// it, and its next sibling is at `subtreeEnd`.
    struct Element {
        FEncXmlSpan name;
        std::uint32_t firstAttribute = 0;
        std::uint32_t attributesEnd = 0;
        std::uint32_t firstText = kNone;
        std::uint32_t subtreeEnd = 0;
    };

    std::basic_string<C> text;
    std::vector<Element> elements;
    std::vector<Attribute> attributes;
    std::vector<Text> texts;

    FEncXmlFragment<C> fragment(FEncXmlSpan span) const {
        return {text.data() + span.begin, static_cast<std::int64_t>(span.end - span.begin)};
    }

    void clear() {
        text.clear();
        elements.clear();
        attributes.clear();
        texts.clear();
    }
};

} // namespace Kvs
