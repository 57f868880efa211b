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

/// Returns true if the bytes begin like a list in XML, and so are not one in another form. The old text form
/// may begin with "<", too: with data in hexadecimal digits.
bool isXmlPropertyList(std::string_view bytes);

} // namespace kvn::host
