// SPDX-License-Identifier: MIT

#pragma once

#include "remote/xml/FEncXmlNode.h"

namespace Kvs {

/// Reads one XML element with everything inside it. It is not a general XML reader: it reads what this system
/// writes (elements, attributes, character data), and treats declarations, comments and CDATA sections as
/// ordinary tags. Any bytes are safe to load.
///
/// The document owns a copy of the element's text; all nodes and fragments refer to it and are valid as long
/// as it is. Exists for `char` and `wchar_t`. One thread at a time.
template <class C>
class FEncXmlDocument {
public:
    /// Elements nested deeper than this fail to load, so that a text of start tags alone costs no
    /// unbounded memory or time; the system's own documents have at most 3 levels.
    static constexpr std::size_t kMostLevels = 256;
    /// An element with more attributes fails to load: the search for a repeated name compares each with
    /// all before it.
    static constexpr std::size_t kMostAttributes = 256;

    FEncXmlDocument() = default;
    FEncXmlDocument(const FEncXmlDocument&) = delete;
    FEncXmlDocument& operator=(const FEncXmlDocument&) = delete;

    /// Discards what was loaded before, but keeps its memory, and reads the element that `text` starts with
    /// (for `char` after a UTF-8 byte-order mark, if there is one). Returns false, with an empty root, when
    /// `text` does not start with a "<" or the element has no name or is not complete and well-formed.
    ///
    /// `consumed` is set to the index in `text` of the ">" that ends the element, or to -1 on failure.
    /// The text behind it is not read: load another document of the same buffer from `text + consumed + 1`,
    /// after skipping white space, which the reader does not skip.
    /// `text` may hold NULs and is not needed after the call.
    bool loadXml(const C* text, long length, long& consumed);

    /// Does the same with a NUL-terminated text.
    bool loadXml(const C* text);

    /// Returns the root element; an empty node unless the last load succeeded.
    FEncXmlNode<C> root() const {
        return tree_.elements.empty() ? FEncXmlNode<C>() : FEncXmlNode<C>(tree_, 0);
    }

private:
    FEncXmlTree<C> tree_;
};

extern template class FEncXmlDocument<char>;
extern template class FEncXmlDocument<wchar_t>;

} // namespace Kvs
