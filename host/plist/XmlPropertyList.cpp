#include "host/plist/XmlPropertyList.h"

#include "host/plist/PropertyListReader.h"
#include "host/plist/PropertyListWriter.h"

#include <utility>

namespace kvn::host {

std::variant<PropertyValue, Error> XmlPropertyList::parse(std::string_view bytes) const {
    if (bytes.size() > kMaxBytes) {
        return Error{"PropertyList", 0, "larger than " + std::to_string(kMaxBytes) + " bytes"};
    }
    if (bytes.starts_with("bplist")) {
        return Error{"PropertyList", 0, "binary property lists are not supported"};
    }
    return PropertyListReader().read(bytes);
}

std::variant<std::string, Error> XmlPropertyList::write(const PropertyValue& value) const {
    std::string text = propertyListText(value);
    // Reading it back is the one check that covers everything the form cannot hold.
    auto readBack = parse(text);
    if (auto* error = std::get_if<Error>(&readBack)) {
        return std::move(*error);
    }
    return text;
}

} // namespace kvn::host
