// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"

#include <optional>
#include <string>

namespace kvn {

/// Reads the application's version from its bundle's information list. Any thread.
class FOCVersion {
public:
    static std::optional<std::string> versionInfo(const host::Bundle& bundle) {
        return bundle.infoValue("CFBundleVersion");
    }
    static std::optional<std::string> sourceRevision(const host::Bundle& bundle) {
        return bundle.infoValue("com.korvane.source.revision");
    }

    /// Returns the displayed version, two spaces, and the source revision in parentheses.
    static std::string fullVersionInfo(const host::Bundle& bundle) {
        constexpr char kNone[] = "(null)";
        return bundle.infoValue("CFBundleShortVersionString").value_or(kNone) + "  (" +
               sourceRevision(bundle).value_or(kNone) + ")";
    }
};

} // namespace kvn
