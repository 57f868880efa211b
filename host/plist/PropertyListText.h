#pragma once

#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <string_view>

namespace kvn::host {

// The text forms of a property list's scalar values; nullopt if the text or the value is not valid. White
// space around numbers and dates, and anywhere in data, is ignored.

/// Decimal or, with "0x", hexadecimal; signed where it fits, else unsigned.
std::optional<PropertyValue> integerFromText(std::string_view text);

std::optional<double> realFromText(std::string_view text);
std::string textOfReal(double value);

/// 2024-03-07T09:05:02Z, of the years 1 to 9999.
std::optional<PropertyValue::Date> dateFromText(std::string_view text);
std::optional<std::string> textOfDate(PropertyValue::Date date);

/// Base 64.
std::optional<PropertyValue::Data> dataFromText(std::string_view text);
std::string textOfData(const PropertyValue::Data& data);

} // namespace kvn::host
