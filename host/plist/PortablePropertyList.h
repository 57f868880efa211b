// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

namespace kvn::host {

/// The reader and writer that every system can use; it needs nothing of the system. Keeps each value exactly:
/// integers from -2^63 to 2^64 - 1, every double, dates of the years 1 to 9999.
class PortablePropertyList final : public PropertyList {
public:
    std::variant<PropertyValue, Error> parse(std::string_view bytes) const override;
    std::variant<std::string, Error> write(const PropertyValue& value) const override;
};

/// Returns true if the bytes begin like a list in XML or in the binary form, and not in the old text form.
/// The latter may begin with "<", too: with data in hexadecimal digits, <0fbd 77>.
bool readsPropertyListForm(std::string_view bytes);

} // namespace kvn::host
