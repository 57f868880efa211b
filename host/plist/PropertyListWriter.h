#pragma once

#include "host/PropertyList.h"

#include <string>

namespace kvn::host {

/// The XML form of a property list. A value that the form cannot hold gives a text that cannot be
/// read back.
std::string propertyListText(const PropertyValue& value);

} // namespace kvn::host
