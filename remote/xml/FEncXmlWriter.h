// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/text/FGStr.h"
#include "core/text/FMStr.h"

#include <initializer_list>
#include <utility>

namespace Kvs {

/// Maps names of attributes to be written to values. The caller owns the texts, which are not escaped yet.
using FEncXmlAttributeMap = FMap<FStrToken<char>, FStrToken<char>>;

/// A name and a value of an attribute to be written, with texts as in the map.
using FEncXmlPair = std::pair<FStrToken<char>, FStrToken<char>>;

/// The writing side of `FEncXml`, for `char` only.
template <class C>
class FEncXmlWriter {};

/// Each call appends to `out`; no line ends or declarations are written.
template <>
class FEncXmlWriter<char> {
public:
    /// Writes `<name a="1" b="2">`, in the map's order; `attributes` may be null. An attribute whose name or
    /// value is empty is left out.
    static void addOpenTag(FMStr<char>& out, FStrToken<char> name, const FEncXmlAttributeMap* attributes);

    /// Writes `<name a="1" b="2"></name>`, with the attributes in their order; those with an empty name or
    /// value are left out, and no two may have one name.
    static void addElement(FMStr<char>& out, FStrToken<char> name,
                           std::initializer_list<FEncXmlPair> attributes);

    /// Writes `<name attrName="attrValue" />`, or `<name />` if `attrName` is empty.
    static void addTag(FMStr<char>& out, FStrToken<char> name, FStrToken<char> attrName,
                       FStrToken<char> attrValue);

    /// Writes `</name>`.
    static void addCloseTag(FMStr<char>& out, FStrToken<char> name);

    /// Writes `text` with the double quote, "&", "<" and ">" escaped, up to the first NUL, and at most
    /// `length` characters unless that is -1.
    static void addEncoded(FMStr<char>& out, const char* text, long length);
};

} // namespace Kvs
