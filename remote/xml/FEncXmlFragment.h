#pragma once

#include "core/text/FGStr.h"

#include <cstdint>

namespace Kvs {

/// A view into a document's text: still encoded (see `FEncXml::addDecoded`), not NUL-terminated, valid
/// as long as the text it was taken from.
template <class C>
struct FEncXmlFragment {
    const C* text = nullptr;
    std::int64_t length = 0;

    FStrToken<C> token() const { return {text, static_cast<std::size_t>(length)}; }
    bool isEmpty() const { return length == 0; }

    /// Same length and same characters; false for null.
    bool operator==(const C* other) const { return other && token() == other; }
    bool operator==(const FEncXmlFragment& other) const { return token() == other.token(); }
};

} // namespace Kvs
