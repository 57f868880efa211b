#pragma once

#include "host/Error.h"
#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kvn::host {

/// Whether a helper may be named so: letters, digits, ".", "-" and "_", the first one no ".".
bool isJobLabel(std::string_view label);

/// Where an installed helper and the description of its job lie.
std::string helperToolPath(const std::string& label);
std::string helperJobPath(const std::string& label);

/// What a helper is started with: the root, if one is set.
std::vector<std::string> helperArguments();

/// Whether this process may put helpers in their place, found out by trying; else why not.
std::optional<Error> tryHelperFolders();

/// Puts a copy of the program and its job's description in their places, whole or not at all. The program
/// is a regular file, no symbolic link, which belongs to root or to `owner` if one is given, and has an
/// information list embedded that names the label as its identifier; all that is checked of the copy, or of
/// the open file. The label is one by `isJobLabel`. Nothing on success.
std::optional<Error> installHelperFiles(const std::string& source, const std::string& label,
                                        std::optional<uid_t> owner, const PropertyList& propertyLists);

} // namespace kvn::host
