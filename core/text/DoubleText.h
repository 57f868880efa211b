#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Kvs {

/// Decimal text with a point, whatever the process's locale; the `%g` form with so many digits, of
/// which 17 keep every value.
std::string fTextOfDouble(double value, int digits);

/// Reads the decimal number that the text begins with, in the same form, and gives the length it
/// takes; 0 (and the value 0) when there is none. What is out of range becomes the nearest value.
std::size_t fReadDouble(std::string_view text, double& value);

} // namespace Kvs
