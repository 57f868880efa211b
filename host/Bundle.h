// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/PropertyList.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace kvn::host {

/// The application bundle of this process. Any thread.
class Bundle {
public:
    virtual ~Bundle() = default;

    /// Returns the text of the bundle's string table for `key`, or the key itself when there is none.
    virtual std::string localizedString(const std::string& key) const = 0;

    /// Returns the bundle's whole string table, by key.
    virtual std::map<std::string, std::string, std::less<>> localizedStrings() const = 0;

    /// Returns a text of the bundle's information property list; nullopt when there is none.
    virtual std::optional<std::string> infoValue(const std::string& key) const = 0;

    /// Returns the path of the resource file `name`.`type`; nullopt when there is none.
    virtual std::optional<std::string> resourcePath(const std::string& name,
                                                    const std::string& type) const = 0;

    /// Returns the path of the executable inside another application bundle (a path that ends in ".app");
    /// nullopt when there is none.
    virtual std::optional<std::string> executableOf(const std::string& bundlePath) const = 0;

    /// Returns the path of another program in this bundle; `path` is relative to its Contents folder. Returns
    /// nullopt when there is none.
    virtual std::optional<std::string> auxiliaryExecutable(const std::string& path) const = 0;

    /// Returns the information property list that is embedded in an executable file.
    virtual std::variant<PropertyValue::Dictionary, Error>
    embeddedInfoList(const std::string& executable) const = 0;
};

} // namespace kvn::host
