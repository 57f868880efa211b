// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/PropertyList.h"
#include "remote/platform/settings/PreferencesFile.h"

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kvn {

/// The dictionary in the preferences file, and the changes that could not be written yet because another
/// program holds the file's lock. No call waits for that lock except `finish`: a thread waits for it, and
/// writes the changes. The thread is detached, because it cannot be woken up, and keeps the store alive.
///
/// Any thread.
class PreferencesStore : public std::enable_shared_from_this<PreferencesStore> {
public:
    /// The property list must outlive the call of `finish`.
    PreferencesStore(std::string filePath, const host::PropertyList& propertyList);

    using Dictionary = host::PropertyValue::Dictionary;

    /// Returns all values, with the changes that still wait. Examines the file once.
    Dictionary values() KVS_EXCLUDES(lock_);

    /// Sets the value, or removes the key if there is no value. Returns false, after it has logged the
    /// reason, if that cannot be stored; true if it is stored or will be when the lock is released.
    bool setPreferenceValue(std::optional<host::PropertyValue> value, std::string_view key)
        KVS_EXCLUDES(lock_);

    void removeAllValues() KVS_EXCLUDES(lock_);

    /// Waits until all changes are written, at most for this time. Later changes are not stored.
    void finish(std::chrono::milliseconds limit) KVS_EXCLUDES(lock_);

private:
    using Changes = std::map<std::string, std::optional<host::PropertyValue>, std::less<>>;
    using FileVersion = preferences::FileVersion;

    void readPreferences() KVS_REQUIRES(lock_);
    void reportUnreadable(const host::Error& error, const FileVersion& version) KVS_REQUIRES(lock_);

    void letOthersWrite() KVS_EXCLUDES(lock_);
    void startWriter() KVS_REQUIRES(lock_);
    void writeWhenUnlocked() KVS_EXCLUDES(lock_);
    /// Writes the waiting changes to the open file, which is locked for writing. No change waits afterwards.
    bool writeChanges(int file) KVS_REQUIRES(lock_);
    /// Caches the contents of the open file, which is locked for writing. Returns its bytes; nullopt when
    /// they must not be overwritten.
    std::optional<std::string> mergePreferences(int file) KVS_REQUIRES(lock_);
    bool failToOpen() KVS_REQUIRES(lock_);
    bool failToLock() KVS_REQUIRES(lock_);

    const std::string filePath_;
    const host::PropertyList& propertyList_;
    Kvs::FThreadLock lock_;
    Dictionary values_ KVS_GUARDED_BY(lock_);                       ///< as last read or written
    std::optional<FileVersion> examined_ KVS_GUARDED_BY(lock_);     ///< readable or not
    std::optional<std::time_t> lastModified_ KVS_GUARDED_BY(lock_); ///< at the last read or write
    Changes waiting_ KVS_GUARDED_BY(lock_);
    std::chrono::steady_clock::time_point lastWrite_ KVS_GUARDED_BY(lock_);
    bool writerWaits_ KVS_GUARDED_BY(lock_) = false; ///< a thread waits for the file's lock
    bool finished_ KVS_GUARDED_BY(lock_) = false;
    std::condition_variable_any written_;
};

} // namespace kvn
