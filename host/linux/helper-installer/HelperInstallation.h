// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"
#include "host/PropertyList.h"
#include "host/linux/helper-installer/HelperFiles.h"

#include <optional>
#include <string>

namespace kvn::host {

/// Installs helper programs with the rights of this process. Any thread that may block.
class HelperInstallation {
public:
    /// `runner` and `propertyLists` outlive this object. Once the descriptor `interruption` is readable,
    /// `bless` gives up with ECANCELED, or, when it has already ended the former helper, starts the new one
    /// and does not wait for it.
    HelperInstallation(ProcessRunner& runner, const PropertyList& propertyLists, int interruption = -1)
        : runner_(runner), propertyLists_(propertyLists), interruption_(interruption) {}

    /// Ends the installed helper of this label, if there is one, installs the program in its place and starts
    /// it. If that fails, the former helper is installed and runs again. Neither `source` nor `label` is
    /// trusted; see `HelperFiles::prepare`. Returns nullopt on success.
    std::optional<Error> bless(const std::string& source, const std::string& label, Trust trust) const;

private:
    std::optional<Error> replaceProcess(const std::string& label, HelperFiles& files) const;

    ProcessRunner& runner_;
    const PropertyList& propertyLists_;
    const int interruption_;
};

} // namespace kvn::host
