// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvn::host {

// These functions convert a property list's scalar values from and to text. They return nullopt if the text
// or the value is not valid. White space around numbers and dates, and anywhere in data, is ignored.

/// Reads a decimal or, with "0x", a hexadecimal number. The value is signed if it fits, else unsigned.
std::optional<PropertyValue> integerFromText(std::string_view text);

std::optional<double> realFromText(std::string_view text);
std::string textOfReal(double value);

/// A date has the form 2024-03-07T09:05:02Z, in the years 1 to 9999.
std::optional<PropertyValue::Date> dateFromText(std::string_view text);
std::optional<std::string> textOfDate(PropertyValue::Date date);

/// Data is in Base 64.
std::optional<PropertyValue::Data> dataFromText(std::string_view text);
std::string textOfData(const PropertyValue::Data& data);

} // namespace kvn::host
