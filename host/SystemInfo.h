// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kvn::host {

/// Facts about the machine. Any thread.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;

    /// Returns the time since the system started.
    virtual std::chrono::seconds upTime() const = 0;

    /// Returns the user's languages, the best first, as tags such as "de-AT" and "pt-BR". Chinese has its
    /// script instead of a region ("zh-Hans"), as the texts have. Empty when the user has not chosen any.
    virtual std::vector<std::string> preferredLanguages() const = 0;

    /// Returns true if the system is at least this release of macOS. Other systems have all of its features
    /// and return true.
    virtual bool isOperatingSystemAtLeast(int major, int minor, int patch) const = 0;
};

} // namespace kvn::host
