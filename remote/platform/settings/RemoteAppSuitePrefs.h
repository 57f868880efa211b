// SPDX-License-Identifier: MIT

#pragma once

#include "host/PropertyList.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace kvn {

class PreferencesStore;

/// The preferences that the product's programs share: a dictionary in a property-list file, which each of
/// them reads and writes under an advisory lock on the file (`flock`). A write reads the file's latest
/// contents, changes one key and keeps all others. A read parses the file only when its modification time is
/// at least one second later than before, so it may miss a change made within that second.
///
/// No call but the destructor waits for the lock. While another program holds it, changes are kept, visible
/// to the readers of this object, and written when the lock is released.
///
/// Failures are logged, and the cached values remain in use. A file that cannot be read is logged once for
/// each of its versions, and overwritten only when earlier values are known and after it has been copied to
/// "<file>.damaged".
///
/// Any thread.
class RemoteAppSuitePrefs {
public:
    using Number = std::variant<bool, std::int64_t, std::uint64_t, double>;

    /// All preferences at one moment.
    class Values {
    public:
        explicit Values(host::PropertyValue::Dictionary values) : values_(std::move(values)) {}

        /// Returns the number. A text is converted to the decimal number that it begins with, or to 0.
        std::optional<Number> numberForKey(std::string_view key) const;
        /// Returns the text. A number is converted to its decimal text, a boolean to "1" or "0".
        std::optional<std::string> stringForKey(std::string_view key) const;

    private:
        const host::PropertyValue::Dictionary values_;
    };

    /// `suiteName` names the file; the property list must outlive this object.
    RemoteAppSuitePrefs(std::string_view suiteName, const host::PropertyList& propertyList);

    /// Writes the changes that still wait for the lock, for which it waits up to 2 seconds.
    ~RemoteAppSuitePrefs();
    RemoteAppSuitePrefs(const RemoteAppSuitePrefs&) = delete;
    RemoteAppSuitePrefs& operator=(const RemoteAppSuitePrefs&) = delete;

    /// Returns the preferences of the process: null until main has set them, before other threads start. Any
    /// thread.
    static RemoteAppSuitePrefs* sharedInstance() { return sharedInstance_; }
    static void setSharedInstance(RemoteAppSuitePrefs* instance) { sharedInstance_ = instance; }

    Values values() const;
    std::optional<Number> numberForKey(std::string_view key) const { return values().numberForKey(key); }
    std::optional<std::string> stringForKey(std::string_view key) const { return values().stringForKey(key); }

    // These return false if the change cannot be stored.
    bool setNumber(Number value, std::string_view key);
    bool setString(std::string value, std::string_view key);
    bool removeValueForKey(std::string_view key);

    /// Deletes the file. The cached values stay until the next read or write of the file.
    void removeAllValues();

private:
    inline static RemoteAppSuitePrefs* sharedInstance_ = nullptr;

    const std::shared_ptr<PreferencesStore> store_;
};

} // namespace kvn
