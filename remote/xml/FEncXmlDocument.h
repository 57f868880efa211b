#pragma once

#include "remote/xml/FEncXmlNode.h"

namespace Kvs {

/// Reads one XML element with everything inside it. It is no general XML reader: it takes what this
/// system writes (elements, attributes, character data), and has no rule for declarations, comments and
/// CDATA sections, which it reads as ordinary tags. Any bytes are safe to load.
///
/// The document owns a private copy of the element's text; all nodes and fragments refer to it and end
/// with it. Exists for `char` and `wchar_t`. Not synchronised.
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

    /// Forgets what was loaded before, keeping its memory, and reads the element that `text` starts with
    /// (for `char` after a UTF-8 byte-order mark, if there is one). False, and an empty root, when `text`
    /// does not start with a "<" or the element has no name or is not complete and well-formed.
    ///
    /// `consumed` is set to the index in `text` of the ">" that ends the element, or to -1 on failure.
    /// What follows is not looked at: another document in the same buffer is loaded from
    /// `text + consumed + 1`, after the white space there, which the reader does not skip.
    /// `text` may hold NULs and is not needed after the call.
    bool loadXml(const C* text, long length, long& consumed);

    /// The same for a NUL-terminated text.
    bool loadXml(const C* text);

    /// Empty unless the last load succeeded.
    FEncXmlNode<C> root() const {
        return tree_.elements.empty() ? FEncXmlNode<C>() : FEncXmlNode<C>(tree_, 0);
    }

private:
    FEncXmlTree<C> tree_;
};

extern template class FEncXmlDocument<char>;
extern template class FEncXmlDocument<wchar_t>;

} // namespace Kvs
