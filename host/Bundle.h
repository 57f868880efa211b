#pragma once

#include <optional>
#include <string>

namespace kvn::host {

/// The application bundle of this process. Main thread.
class Bundle {
public:
    virtual ~Bundle() = default;

    /// The text of the bundle's string table for `key`, or the key itself when there is none.
    virtual std::string localizedString(const std::string& key) const = 0;

    /// The executable inside another application bundle (a path that ends in ".app"). Any thread.
    virtual std::optional<std::string> executableOf(const std::string& bundlePath) const = 0;
};

} // namespace kvn::host
