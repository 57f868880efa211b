// SPDX-License-Identifier: MIT

#include "remote/xml/FEncXml.h"

#include "remote/xml/FEncXmlDocument.h"
#include "remote/xml/TagScan.h"

#include <algorithm>
#include <string_view>

namespace Kvs {

namespace {

struct NamedReference {
    std::string_view name;
    char unit;
};
constexpr NamedReference kNamedReferences[] = {
    {"amp", '&'}, {"quot", '"'}, {"apos", '\''}, {"gt", '>'}, {"lt", '<'},
};

/// Returns the value of a digit; 99, which is too large for any base, for other units.
template <class C>
std::uint32_t digitValue(C unit) {
    if (unit >= '0' && unit <= '9') {
        return static_cast<std::uint32_t>(unit - '0');
    }
    if (unit >= 'a' && unit <= 'f') {
        return static_cast<std::uint32_t>(unit - 'a') + 10;
    }
    if (unit >= 'A' && unit <= 'F') {
        return static_cast<std::uint32_t>(unit - 'A') + 10;
    }
    return 99;
}

/// Sets `unit` to the number that `digits` begins with. Returns false when it begins with none.
template <class C>
bool decodeNumber(FStrToken<C> digits, std::uint32_t base, C& unit) {
    std::uint32_t value = 0;
    std::size_t read = 0;
    for (; read < digits.size() && digitValue(digits[read]) < base; ++read) {
        value = value * base + digitValue(digits[read]);
    }
    unit = static_cast<C>(value);
    return read > 0;
}

/// Decodes the characters between "&" and ";". Returns false when they are not a known reference.
template <class C>
bool decodeReference(FStrToken<C> reference, C& unit) {
    if (!reference.empty() && reference[0] == '#') {
        const bool hexadecimal = reference.size() > 1 && reference[1] == 'x';
        return decodeNumber(reference.substr(hexadecimal ? 2 : 1), hexadecimal ? 16 : 10, unit);
    }
    for (const NamedReference& named : kNamedReferences) {
        if (std::equal(reference.begin(), reference.end(), named.name.begin(), named.name.end())) {
            unit = static_cast<C>(named.unit);
            return true;
        }
    }
    return false;
}

} // namespace

template <class C>
bool FEncXml<C>::decodeNextTag(const C* text, FEncXmlFragment<C>& name,
                               FMap<FEncXmlFragment<C>, FEncXmlFragment<C>>& attributes, long& consumed,
                               bool& selfClosing) {
    const FStrToken<C> all(text);
    const std::size_t begin = all.find(static_cast<C>('<'));
    if (begin == all.npos) {
        return false;
    }
    const std::size_t end = all.find(static_cast<C>('>'), begin);
    if (end == all.npos) {
        consumed = -1;
        return false;
    }

    const C* const start = text + begin;
    const auto fragment = [&](FEncXmlSpan span) {
        return FEncXmlFragment<C>{start + span.begin, static_cast<std::int64_t>(span.end - span.begin)};
    };
    MarkCursor<C> marks(start, end + 1 - begin);
    ScannedTag tag;
    if (!scanTag(marks, marks.next(), tag, [&](FEncXmlSpan attribute, FEncXmlSpan value) {
            attributes.set(fragment(attribute), fragment(value));
            return attributes.count() <= FEncXmlDocument<C>::kMostAttributes;
        })) {
        return false;
    }
    name = fragment(tag.name);
    selfClosing = tag.selfClosing;
    consumed = static_cast<long>(end + 1);
    return true;
}

template <class C>
void FEncXml<C>::addDecoded(FMStr<C>& out, const C* raw, long length) {
    FStrToken<C> rest(raw, length > 0 ? static_cast<std::size_t>(length) : 0);
    for (;;) {
        const std::size_t begin = rest.find(static_cast<C>('&'));
        const std::size_t end = begin == rest.npos ? begin : rest.find(static_cast<C>(';'), begin);
        if (end == rest.npos) {
            out.append(rest);
            return;
        }
        C unit{};
        if (decodeReference(rest.substr(begin + 1, end - begin - 1), unit)) {
            out.append(rest.substr(0, begin));
            out.append(unit);
        } else {
            out.append(rest.substr(0, end + 1));
        }
        rest.remove_prefix(end + 1);
    }
}

template class FEncXml<char>;
template class FEncXml<wchar_t>;

} // namespace Kvs
