// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

#include <string_view>
#include <variant>

namespace kvn::host {

/// Reads the binary form, version 00. The values may be nested as deeply as the XML form allows, and be as
/// large together as that form: a value that is referred to several times counts each time. Fractions of a
/// second, which the XML form does not have, are cut off. Null values, sets and UIDs are errors. Any thread.
std::variant<PropertyValue, Error> readBinaryPropertyList(std::string_view bytes);

} // namespace kvn::host
