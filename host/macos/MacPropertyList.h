// SPDX-License-Identifier: MIT

#pragma once

#include "host/plist/PortablePropertyList.h"

#import <Foundation/Foundation.h>

namespace kvn::host {

/// Reads the XML, the binary and the old text form; writes XML. The system turns the other forms into XML,
/// which `PortablePropertyList` reads and writes: the system's own reader takes control characters, and would
/// stop at no depth that the interface names.
class MacPropertyList final : public PropertyList {
public:
    std::variant<PropertyValue, Error> parse(std::string_view bytes) const override;
    std::variant<std::string, Error> write(const PropertyValue& value) const override {
        return portable_.write(value);
    }

private:
    const PortablePropertyList portable_;
};

/// Converts a property list that the system returned. Any thread.
std::variant<PropertyValue, Error> propertyValueOf(id propertyList);

} // namespace kvn::host
