// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>

namespace kvn {

/// Prepares the folder that is used in place of "/": creates in it the folders that every system has, and
/// those that the product's installation creates. Returns its absolute path; on failure nullopt, with the
/// reason in `problem`.
std::optional<std::string> prepareRoot(const std::string& folder, std::string& problem);

} // namespace kvn
