#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kvn::host {

/// Facts about the machine. Any thread.
class SystemInfo {
public:
    virtual ~SystemInfo() = default;

    /// Time since the system started.
    virtual std::chrono::seconds upTime() const = 0;

    /// The user's languages, the best first, as tags such as "de-AT" and "pt-BR"; Chinese goes by its
    /// script alone ("zh-Hans"), as texts do. Empty when the user has not chosen any.
    virtual std::vector<std::string> preferredLanguages() const = 0;

    /// Whether the system is at least this release of macOS; true where it is none, so that what older
    /// releases lack counts as there.
    virtual bool isOperatingSystemAtLeast(int major, int minor, int patch) const = 0;
};

} // namespace kvn::host
