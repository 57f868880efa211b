// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kvn::host {

/// Returns true for letters, digits, ".", "-" and "_", the first of which is not ".".
bool isJobLabel(std::string_view label);

/// These return the paths of an installed helper and of its job's description.
std::string helperToolPath(const std::string& label);
std::string helperJobPath(const std::string& label);

/// Returns a helper's arguments: the root, if one is set.
std::vector<std::string> helperArguments();

/// Checks if this process may install helpers. Returns the reason if it may not.
std::optional<Error> tryHelperFolders();

/// Installs a copy of the program and its job's description, completely or not at all. The program must be a
/// regular file and not a symbolic link, must belong to root or to `owner` if that is given, and its embedded
/// information list must name the label as its identifier. The open file or the copy is checked, not the
/// path. The label satisfies `isJobLabel`. Returns nullopt on success.
std::optional<Error> installHelperFiles(const std::string& source, const std::string& label,
                                        std::optional<uid_t> owner, const PropertyList& propertyLists);

} // namespace kvn::host
