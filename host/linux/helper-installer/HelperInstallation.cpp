// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/HelperInstallation.h"

#include "host/linux/helper-installer/HelperFiles.h"
#include "host/linux/helper-installer/HelperProcess.h"

#include <cerrno>

namespace kvn::host {

std::optional<Error> HelperInstallation::bless(const std::string& source, const std::string& label,
                                               std::optional<uid_t> owner) const {
    if (!isJobLabel(label)) {
        return Error{"blessing", EINVAL, "Not a helper's label"};
    }
    if (auto error = installHelperFiles(source, label, owner, propertyLists_)) {
        return error;
    }
    const std::string tool = helperToolPath(label);
    if (auto error = endHelper(tool, interruption_)) {
        return error;
    }
    // A helper's identifier, which names its socket, is its label.
    return startHelper(tool, label, runner_, interruption_);
}

} // namespace kvn::host
