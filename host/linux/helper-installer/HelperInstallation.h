// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"
#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// Installs helper programs with the rights of this process. Any thread that may block.
class HelperInstallation {
public:
    /// `runner` and `propertyLists` outlive this object. Once the descriptor `interruption` is readable,
    /// `bless` does not wait for helpers any more.
    HelperInstallation(ProcessRunner& runner, const PropertyList& propertyLists, int interruption = -1)
        : runner_(runner), propertyLists_(propertyLists), interruption_(interruption) {}

    /// Ends the installed helper of this label, if there is one, installs the program in its place and starts
    /// it. Neither argument is trusted. With an owner, the program must belong to that user or to root.
    /// Returns nullopt on success.
    std::optional<Error> bless(const std::string& source, const std::string& label,
                               std::optional<uid_t> owner) const;

private:
    ProcessRunner& runner_;
    const PropertyList& propertyLists_;
    const int interruption_;
};

} // namespace kvn::host
