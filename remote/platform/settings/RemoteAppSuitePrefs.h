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

/// The preferences that the product's programs share: a dictionary in a property-list file that each of
/// them reads and writes under a lock of the file (`flock`). A write takes the file's latest contents,
/// changes one key and leaves every other as it is. A read parses the file only when the second of its
/// modification time has moved on, so it may miss a change made within that same second.
///
/// Failures are logged, and the values known before stay in force. A file that is no property list is
/// copied to "<file>.damaged" before it is written; one that is too large is not written at all.
///
/// Any thread.
class RemoteAppSuitePrefs {
public:
    using Number = std::variant<bool, std::int64_t, std::uint64_t, double>;

    /// `suiteName` names the file; the property list must outlive this object.
    RemoteAppSuitePrefs(std::string_view suiteName, const host::PropertyList& propertyList);

    /// The suite "com.korvane.remote", installed by main before anyone asks for it.
    static RemoteAppSuitePrefs& sharedInstance();
    static void setSharedInstance(RemoteAppSuitePrefs* instance);

    /// A text counts as the decimal number that it begins with, else as 0.
    std::optional<Number> numberForKey(std::string_view key) KVS_EXCLUDES(lock_);
    /// A number counts as its decimal text, a boolean as "1" or "0".
    std::optional<std::string> stringForKey(std::string_view key) KVS_EXCLUDES(lock_);

    void setNumber(Number value, std::string_view key) KVS_EXCLUDES(lock_);
    void setString(std::string value, std::string_view key) KVS_EXCLUDES(lock_);
    void removeValueForKey(std::string_view key) KVS_EXCLUDES(lock_);

    /// Deletes the file; the values known here stay until they are written or read again.
    void removeAllValues() KVS_EXCLUDES(lock_);

private:
    using Dictionary = host::PropertyValue::Dictionary;

    std::optional<host::PropertyValue> valueForKey(std::string_view key) KVS_EXCLUDES(lock_);
    void setPreferenceValue(std::optional<host::PropertyValue> value, std::string_view key)
        KVS_EXCLUDES(lock_);

    void readPreferences() KVS_REQUIRES(lock_);
    /// The contents of the open file, which an exclusive lock protects, become the known values; gives
    /// its bytes, or nothing when they cannot be read and must not be written over.
    std::optional<std::string> mergePreferences(int file) KVS_REQUIRES(lock_);
    std::optional<std::string> readBytes(int file) const;
    std::optional<Dictionary> readPrefs(const std::string& bytes) const;
    void keepDamagedFile(const std::string& bytes) const;

    const std::string filePath_;
    const host::PropertyList& propertyList_;
    Kvs::FThreadLock lock_;
    std::optional<std::time_t> lastModified_ KVS_GUARDED_BY(lock_); ///< When last read or written.
    Dictionary values_ KVS_GUARDED_BY(lock_);
};

} // namespace kvn
