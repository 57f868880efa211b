// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/HelperInstallation.h"

#include "host/linux/helper-installer/HelperProcess.h"
#include "host/linux/helper-installer/SystemdUnit.h"
#include "host/posix/PollUntil.h"

#include <cerrno>

namespace kvn::host {

namespace {

bool isReadable(int descriptor) {
    pollfd polled{descriptor, POLLIN, 0};
    return pollUntil({&polled, 1}, deadlineIn({})) > 0;
}

} // namespace

std::optional<Error> HelperInstallation::bless(const std::string& source, const std::string& label,
                                               Trust trust) const {
    if (!isJobLabel(label)) {
        return Error{"blessing", EINVAL, "Not a helper's label"};
    }
    auto prepared = HelperFiles::prepare(source, label, trust, propertyLists_);
    if (const auto* error = std::get_if<Error>(&prepared)) {
        return *error;
    }
    auto& files = std::get<HelperFiles>(prepared);
    if (isReadable(interruption_)) {
        return posixError(ECANCELED, "The installation");
    }
    if (auto error = files.commit()) {
        return error;
    }
    return replaceProcess(label, files);
}

/// Ends the former helper and starts the new one, whose files are in place.
std::optional<Error> HelperInstallation::replaceProcess(const std::string& label, HelperFiles& files) const {
    if (hasSystemd()) {
        stopUnit(label, runner_);
    }
    if (auto error = endHelper(helperToolPath(label), interruption_)) {
        files.restore();
        return error;
    }
    auto error = startHelper(label, runner_, interruption_);
    if (error) {
        if (hasSystemd()) {
            disableUnit(label, runner_);
        }
        files.restore();
        if (files.replacesAnother()) {
            const auto problem = startHelper(label, runner_, interruption_);
            error->reason += problem ? "; the former helper does not start again: " + problem->reason
                                     : "; the former helper runs again";
        }
    }
    return error;
}

} // namespace kvn::host
