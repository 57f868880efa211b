#pragma once

#include <optional>
#include <string>

namespace kvn {

/// Makes the folder usable that stands for "/": creates in it the folders that every system has, and those
/// that the product's installation creates. Returns its absolute path, or nullopt and the reason in
/// `problem`.
std::optional<std::string> prepareRoot(const std::string& folder, std::string& problem);

} // namespace kvn
