#pragma once

#include "host/Bundle.h"

#include <optional>
#include <string>

namespace kvn {

/// The application's version, as its bundle's information list tells it. Any thread.
class FOCVersion {
public:
    static std::optional<std::string> versionInfo(const host::Bundle& bundle);
    static std::optional<std::string> sourceRevision(const host::Bundle& bundle);

    /// The version for people, two spaces, and the source revision in parentheses.
    static std::string fullVersionInfo(const host::Bundle& bundle);
};

} // namespace kvn
