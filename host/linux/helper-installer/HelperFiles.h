// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/PropertyList.h"
#include "host/linux/helper-installer/AtomicFile.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
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

/// The files of a helper that is being installed: the program, its job's description and, where systemd runs,
/// its unit. One thread.
class HelperFiles {
public:
    /// Copies the program into its folder under a temporary name. The program must be a regular file and not
    /// a symbolic link, its embedded information list must name the label as its identifier, and its version
    /// must not be older than the installed one's. The copy is checked, not the path. The label satisfies
    /// `isJobLabel`.
    static std::variant<HelperFiles, Error> prepare(const std::string& source, const std::string& label,
                                                    Trust trust, const PropertyList& propertyLists);

    /// Returns true if a helper was installed before.
    bool replacesAnother() const { return replacesAnother_; }

    /// Puts all files at their paths, or none. Returns nullopt on success.
    std::optional<Error> commit();

    /// Puts the files of the former installation back, which is possible until the end of this object.
    void restore();

private:
    struct Part {
        AtomicFile file;
        std::string path;
        mode_t mode;
    };

    std::optional<Error> add(const std::string& path, mode_t mode, Trust trust);

    std::vector<Part> parts_;
    bool replacesAnother_ = false;
};

} // namespace kvn::host
