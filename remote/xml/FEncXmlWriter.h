#pragma once

#include "core/base/Containers.h"
#include "core/text/FGStr.h"
#include "core/text/FMStr.h"

namespace Kvs {

/// Attributes to be written, name to value; the texts are the caller's, not yet escaped.
using FEncXmlAttributeMap = FMap<FStrToken<char>, FStrToken<char>>;

/// The writing side of `FEncXml`, for `char` only.
template <class C>
class FEncXmlWriter {};

/// Each call appends to `out`; no line ends or declarations are written.
template <>
class FEncXmlWriter<char> {
public:
    /// `<name a="1" b="2">`, in the map's order; `attributes` may be null. An attribute whose name or
    /// value is empty is left out.
    static void addOpenTag(FMStr<char>& out, FStrToken<char> name, const FEncXmlAttributeMap* attributes);

    /// `<name attrName="attrValue" />`, or `<name />` where `attrName` is empty.
    static void addTag(FMStr<char>& out, FStrToken<char> name, FStrToken<char> attrName,
                       FStrToken<char> attrValue);

    /// `</name>`.
    static void addCloseTag(FMStr<char>& out, FStrToken<char> name);

    /// `text` with the double quote, "&", "<" and ">" escaped; up to the first NUL, or at most `length`
    /// characters where that is not -1.
    static void addEncoded(FMStr<char>& out, const char* text, long length);
};

} // namespace Kvs
