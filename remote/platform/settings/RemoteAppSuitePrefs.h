// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/PropertyList.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kvn {

/// The preferences that the product's programs share: a dictionary in a property-list file, which each of
/// them reads and writes under an advisory lock on the file (`flock`). A write reads the file's latest
/// contents, changes one key and keeps all others. A read parses the file only when its modification time is
/// at least one second later than before, so it may miss a change made within that second.
///
/// Failures are logged, and the cached values remain in use. A file that is not a property list is copied to
/// "<file>.damaged" before it is overwritten; a file that is too large is not overwritten.
///
/// Any thread.
class RemoteAppSuitePrefs {
public:
    using Number = std::variant<bool, std::int64_t, std::uint64_t, double>;

    /// `suiteName` names the file; the property list must outlive this object.
    RemoteAppSuitePrefs(std::string_view suiteName, const host::PropertyList& propertyList);

    /// Returns the preferences of the process: null until main has set them, before other threads start. Any
    /// thread.
    static RemoteAppSuitePrefs* sharedInstance() { return sharedInstance_; }
    static void setSharedInstance(RemoteAppSuitePrefs* instance) { sharedInstance_ = instance; }

    /// Returns the number. A text is converted to the decimal number that it begins with, or to 0.
    std::optional<Number> numberForKey(std::string_view key) KVS_EXCLUDES(lock_);
    /// Returns the text. A number is converted to its decimal text, a boolean to "1" or "0".
    std::optional<std::string> stringForKey(std::string_view key) KVS_EXCLUDES(lock_);

    void setNumber(Number value, std::string_view key) KVS_EXCLUDES(lock_);
    void setString(std::string value, std::string_view key) KVS_EXCLUDES(lock_);
    void removeValueForKey(std::string_view key) KVS_EXCLUDES(lock_);

    /// Deletes the file. The cached values stay until the next read or write of the file.
    void removeAllValues() KVS_EXCLUDES(lock_);

private:
    using Dictionary = host::PropertyValue::Dictionary;

    std::optional<host::PropertyValue> valueForKey(std::string_view key) KVS_EXCLUDES(lock_);
    void setPreferenceValue(std::optional<host::PropertyValue> value, std::string_view key)
        KVS_EXCLUDES(lock_);

    void readPreferences() KVS_REQUIRES(lock_);
    /// Caches the contents of the open file, which is locked for writing. Returns its bytes; nullopt when
    /// they cannot be read, and then they must not be overwritten.
    std::optional<std::string> mergePreferences(int file) KVS_REQUIRES(lock_);
    std::optional<std::string> readBytes(int file) const;
    std::optional<Dictionary> readPrefs(const std::string& bytes) const;
    void keepDamagedFile(const std::string& bytes) const;

    inline static RemoteAppSuitePrefs* sharedInstance_ = nullptr;

    const std::string filePath_;
    const host::PropertyList& propertyList_;
    Kvs::FThreadLock lock_;
    std::optional<std::time_t> lastModified_ KVS_GUARDED_BY(lock_); ///< at the last read or write
    Dictionary values_ KVS_GUARDED_BY(lock_);
};

} // namespace kvn
