#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"
#include "host/PropertyList.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// Installs helper programs with the rights of this process. A thread that may block.
class HelperInstallation {
public:
    /// All outlive the installation. Once the descriptor `interruption` is readable, nobody waits for what
    /// a helper may take its time for.
    HelperInstallation(ProcessRunner& runner, const PropertyList& propertyLists, int interruption = -1)
        : runner_(runner), propertyLists_(propertyLists), interruption_(interruption) {}

    /// Installs the program as the helper of this label, in place of an installed one, which is ended, and
    /// starts it. Neither argument is trusted; with an owner, a program of somebody else than root and him
    /// is refused. Nothing on success.
    std::optional<Error> bless(const std::string& source, const std::string& label,
                               std::optional<uid_t> owner) const;

private:
    ProcessRunner& runner_;
    const PropertyList& propertyLists_;
    const int interruption_;
};

} // namespace kvn::host
