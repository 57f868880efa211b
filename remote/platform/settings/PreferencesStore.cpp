// SPDX-License-Identifier: MIT

#include "remote/platform/settings/PreferencesStore.h"

#include "core/logging/CNSLog.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <variant>

namespace kvn {

using host::PropertyValue;
using Kvs::CNSLog;
using Kvs::FileDescriptor;
using Kvs::FLockGuard;
using namespace preferences;

namespace {

host::Error systemError(int number) { return {"POSIX", number, std::strerror(number)}; }

std::variant<PropertyValue::Dictionary, host::Error> dictionaryIn(const host::PropertyList& form,
                                                                  const std::string& bytes) {
    auto parsed = form.parse(bytes);
    if (auto* list = std::get_if<PropertyValue>(&parsed)) {
        if (auto* dictionary = std::get_if<PropertyValue::Dictionary>(&list->value)) {
            return std::move(*dictionary);
        }
        return host::Error{"PropertyList", 0, "not a dictionary"};
    }
    return std::get<host::Error>(std::move(parsed));
}

void applyChanges(const std::map<std::string, std::optional<PropertyValue>, std::less<>>& changes,
                  PropertyValue::Dictionary& values) {
    for (const auto& [key, value] : changes) {
        if (value) {
            values.insert_or_assign(key, *value);
        } else {
            values.erase(key);
        }
    }
}

} // namespace

PreferencesStore::PreferencesStore(std::string filePath, const host::PropertyList& propertyList)
    : filePath_(std::move(filePath)), propertyList_(propertyList) {
    FLockGuard guard(lock_);
    readPreferences();
}

// MARK: Reading

PreferencesStore::Dictionary PreferencesStore::values() {
    FLockGuard guard(lock_);
    readPreferences();
    Dictionary changed = values_;
    applyChanges(waiting_, changed);
    return changed;
}

void PreferencesStore::readPreferences() {
    const FileVersion current = versionAt(filePath_);
    if (examined_ == current) {
        return;
    }
    const FileDescriptor file = openForReading(filePath_);
    if (!file) {
        const int error = errno;
        examined_ = current;
        const std::string folder = std::filesystem::path(filePath_).parent_path();
        if (std::error_code ignored; error == ENOENT && !std::filesystem::exists(folder, ignored)) {
            CNSLog("The folder of app suite prefs file does not exist: %s", folder.c_str());
        } else if (error != ENOENT) {
            CNSLog("Failed to open app suite prefs file for reading: %s, errno: %d", filePath_.c_str(),
                   error);
        }
        return;
    }
    const bool locked = ::flock(file.get(), LOCK_SH | LOCK_NB) == 0;
    if (!locked && errno != EWOULDBLOCK) {
        examined_ = current;
        return CNSLog("Failed to lock app suite prefs file for reading: %s, errno: %d", filePath_.c_str(),
                      errno);
    }
    const FileVersion opened = versionOf(file.get());
    if (opened.error != 0) {
        return CNSLog(
            "readPreferences: Failed to get last modification time of app suite prefs file: %s, errno: %d",
            filePath_.c_str(), opened.error);
    }
    if (lastModified_ && *lastModified_ >= opened.modified.first) {
        examined_ = opened;
        return;
    }
    const auto bytes = readContents(file.get(), locked);
    auto read = bytes ? dictionaryIn(propertyList_, *bytes) : systemError(errno);
    if (auto* values = std::get_if<Dictionary>(&read)) {
        values_ = std::move(*values);
        examined_ = opened;
        // Without the lock a writer may still change the file within this second.
        lastModified_ = locked ? std::optional(opened.modified.first) : std::nullopt;
    } else if (locked) { // otherwise a writer may be at work
        reportUnreadable(std::get<host::Error>(read), opened);
    }
}

void PreferencesStore::reportUnreadable(const host::Error& error, const FileVersion& version) {
    if (examined_ != version) {
        examined_ = version;
        Kvs::OCNSLog("Failed to deserialize prefs file, error: %@", error);
    }
}

// MARK: Writing

bool PreferencesStore::setPreferenceValue(std::optional<PropertyValue> value, std::string_view key) {
    if (value) { // one that cannot be written must not take others with it
        const auto written = propertyList_.write(*value);
        if (const auto* error = std::get_if<host::Error>(&written)) {
            Kvs::OCNSLog("writePreferences: Failed to serialize app suite prefs, error: %@", *error);
            return false;
        }
    }
    letOthersWrite();
    FLockGuard guard(lock_);
    waiting_.insert_or_assign(std::string(key), std::move(value));
    if (writerWaits_) {
        return true;
    }
    FileDescriptor file;
    do {
        file = openForWriting(filePath_);
        if (!file) {
            return failToOpen();
        }
        if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) {
                return failToLock();
            }
            startWriter();
            return true;
        }
    } while (!standsAt(filePath_, file.get()));
    return writeChanges(file.get());
}

void PreferencesStore::letOthersWrite() {
    // A program that waits for the lock is woken up when it is released, and then has to be faster than the
    // next call here. Without a pause, a series of changes would keep it waiting until the end of the series.
    constexpr std::chrono::milliseconds kSeries(10);
    constexpr std::chrono::milliseconds kPause(2);
    {
        FLockGuard guard(lock_);
        if (writerWaits_ || std::chrono::steady_clock::now() - lastWrite_ > kSeries) {
            return;
        }
    }
    std::this_thread::sleep_for(kPause);
}

bool PreferencesStore::failToOpen() {
    CNSLog("Failed to open app suite prefs file for writing: %s, errno: %d", filePath_.c_str(), errno);
    waiting_.clear();
    return false;
}

bool PreferencesStore::failToLock() {
    CNSLog("Failed to lock app suite prefs file for writing: %s, errno: %d", filePath_.c_str(), errno);
    waiting_.clear();
    return false;
}

void PreferencesStore::startWriter() {
    try {
        std::thread([self = shared_from_this()] { self->writeWhenUnlocked(); }).detach();
        writerWaits_ = true;
    } catch (const std::system_error&) {
        // The next change, or the end, tries again.
    }
}

void PreferencesStore::writeWhenUnlocked() {
    for (;;) {
        // Others use the store meanwhile, so its own lock is not held while this waits for the file's.
        const FileDescriptor file = openForWriting(filePath_);
        const bool locked = file && lockForWriting(file.get());
        const int error = errno;
        FLockGuard guard(lock_);
        if (finished_) {
            return; // the property list may be gone
        }
        if (locked && !waiting_.empty() && !standsAt(filePath_, file.get())) {
            continue;
        }
        errno = error;
        if (!file) {
            failToOpen();
        } else if (!locked) {
            failToLock();
        } else {
            writeChanges(file.get());
        }
        writerWaits_ = false;
        written_.notify_all();
        return;
    }
}

void PreferencesStore::finish(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    FLockGuard guard(lock_);
    if (!waiting_.empty() && !writerWaits_) {
        startWriter();
    }
    while (writerWaits_ && !waiting_.empty()) {
        if (written_.wait_until(lock_, end) == std::cv_status::timeout) {
            break;
        }
    }
    if (!waiting_.empty()) {
        errno = EWOULDBLOCK;
        failToLock();
    }
    finished_ = true;
}

bool PreferencesStore::writeChanges(int file) {
    const Changes changes = std::exchange(waiting_, {});
    if (changes.empty()) { // the values have been removed meanwhile
        return true;
    }
    const auto oldBytes = mergePreferences(file);
    if (!oldBytes) {
        return false;
    }
    PropertyValue list{values_};
    auto& changed = std::get<Dictionary>(list.value);
    applyChanges(changes, changed);
    const auto written = propertyList_.write(list);
    if (const auto* error = std::get_if<host::Error>(&written)) {
        Kvs::OCNSLog("writePreferences: Failed to serialize app suite prefs, error: %@", *error);
        return false;
    }
    values_ = std::move(changed);
    if (!replaceContents(file, *oldBytes, std::get<std::string>(written))) {
        CNSLog("Failed to write app suite prefs file, errno: %d", errno);
        return false;
    }
    lastWrite_ = std::chrono::steady_clock::now();
    if (const FileVersion version = versionOf(file); version.error == 0) {
        examined_ = version;
        lastModified_ = version.modified.first;
    }
    return true;
}

std::optional<std::string> PreferencesStore::mergePreferences(int file) {
    const FileVersion version = versionOf(file);
    if (version.error != 0) {
        CNSLog(
            "writePreferences: Failed to get last modification time of app suite prefs file: %s, errno: %d",
            filePath_.c_str(), version.error);
        return std::nullopt;
    }
    // The file is read whatever its modification time is: file systems round it, and clocks are set back.
    auto bytes = readContents(file, true);
    if (bytes && bytes->empty()) {
        return bytes;
    }
    auto read = bytes ? dictionaryIn(propertyList_, *bytes) : systemError(errno);
    if (auto* values = std::get_if<Dictionary>(&read)) {
        values_ = std::move(*values);
        return bytes;
    }
    reportUnreadable(std::get<host::Error>(read), version);
    if (!bytes || values_.empty()) { // what the file held would be lost
        CNSLog("App suite prefs file cannot be read and is left as it is: %s", filePath_.c_str());
        return std::nullopt;
    }
    const std::string copy = filePath_ + ".damaged";
    if (!keepCopy(copy, *bytes)) { // an earlier copy is kept
        CNSLog("Failed to keep a copy of damaged app suite prefs file: %s, errno: %d", copy.c_str(), errno);
        return std::nullopt;
    }
    return bytes;
}

void PreferencesStore::removeAllValues() {
    constexpr int kAttempts = 10;
    constexpr std::chrono::milliseconds kPause(25);

    FLockGuard guard(lock_);
    applyChanges(std::exchange(waiting_, {}), values_); // the cached values stay
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (::unlink(filePath_.c_str()) == 0 || errno == ENOENT) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

} // namespace kvn
