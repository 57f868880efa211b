// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/text/FMStr.h"
#include "remote/xml/FEncXmlTree.h"
#include "remote/xml/FEncXmlWriter.h"

namespace Kvs {

/// The single steps of the XML codec; whole elements are read with `FEncXmlDocument`. No state, any thread.
/// Exists for `char` and `wchar_t`; the writer, which it inherits, exists for `char` only.
template <class C>
class FEncXml : public FEncXmlWriter<C> {
public:
    /// Scans the first tag of a NUL-terminated text: its name, its attributes (raw, added to
    /// `attributes`) and whether it ends in "/>". `consumed` becomes the index just after the tag's ">".
    /// Returns false when there is no "<", or no ">" after it (`consumed` is then -1), or when the tag has
    /// more than `FEncXmlDocument<C>::kMostAttributes` attributes.
    static bool decodeNextTag(const C* text, FEncXmlFragment<C>& name,
                              FMap<FEncXmlFragment<C>, FEncXmlFragment<C>>& attributes, long& consumed,
                              bool& selfClosing);

    /// Appends the decoded form of a raw value or text. An "&" up to the next ";" is a reference: one of
    /// the names amp, quot, apos, gt and lt, or "#" with decimal or "#x" with hexadecimal digits, which
    /// gives one unit of that value (its low bits, where it does not fit). Anything else is copied
    /// unchanged.
    static void addDecoded(FMStr<C>& out, const C* raw, long length);
    static void addDecoded(FMStr<C>& out, const FEncXmlFragment<C>& raw) {
        addDecoded(out, raw.text, static_cast<long>(raw.length));
    }
};

extern template class FEncXml<char>;
extern template class FEncXml<wchar_t>;

} // namespace Kvs
