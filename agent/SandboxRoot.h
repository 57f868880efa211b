#pragma once

#include <optional>
#include <string>

namespace kvn {

/// Makes the folder that stands for "/" usable: an absolute path in which the folders exist that every
/// system has, and those that the product's installation makes. Returns the path, or tells in `problem`
/// why not.
std::optional<std::string> prepareRoot(const std::string& folder, std::string& problem);

} // namespace kvn
