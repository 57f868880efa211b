// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

namespace kvn::host {

/// Property lists in XML, for every system. Keeps each value exactly: integers from -2^63 to 2^64 - 1, every
/// double, dates of the years 1 to 9999. The binary form is refused.
class XmlPropertyList final : public PropertyList {
public:
    std::variant<PropertyValue, Error> parse(std::string_view bytes) const override;
    std::variant<std::string, Error> write(const PropertyValue& value) const override;
};

/// Returns true if the bytes begin like a list in XML, and not in the binary or the old text form. The latter
/// may begin with "<", too: with data in hexadecimal digits, <0fbd 77>.
bool isXmlPropertyList(std::string_view bytes);

} // namespace kvn::host
