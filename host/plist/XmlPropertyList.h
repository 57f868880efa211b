// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

namespace kvn::host {

/// Property lists in XML, for every system; reads the binary form too. Keeps each value exactly: integers
/// from -2^63 to 2^64 - 1, every double, dates of the years 1 to 9999.
class XmlPropertyList final : public PropertyList {
public:
    std::variant<PropertyValue, Error> parse(std::string_view bytes) const override;
    std::variant<std::string, Error> write(const PropertyValue& value) const override;
};

} // namespace kvn::host
