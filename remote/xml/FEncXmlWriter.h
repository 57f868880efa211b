#pragma once

#include "core/base/FMap.h"
#include "core/text/FMStr.h"

namespace Kvs {

/// The writing side of `FEncXml`, for `char` only.
template <class C>
class FEncXmlWriter {};

/// Each call appends to `out`; nothing comes between two calls: no line end, no declaration.
template <>
class FEncXmlWriter<char> {
public:
    /// `<name a="1" b="2">`, in the map's order; `attributes` may be null. An attribute whose name or
    /// value is null or empty is left out.
    static void addOpenTag(FMStr<char>& out, const char* name,
                           const FMap<const char*, const char*>* attributes);

    /// `<name attrName="attrValue" />`, or `<name />` where `attrName` is null. A null value is empty.
    static void addTag(FMStr<char>& out, const char* name, const char* attrName, const char* attrValue);

    /// `</name>`.
    static void addCloseTag(FMStr<char>& out, const char* name);

    /// `text` with the double quote, "&", "<" and ">" escaped; up to the first NUL, or at most `length`
    /// characters where that is not -1.
    static void addEncoded(FMStr<char>& out, const char* text, long length);
};

} // namespace Kvs
