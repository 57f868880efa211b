// SPDX-License-Identifier: MIT

#include "remote/platform/settings/RemoteAppSuitePrefs.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/system/ReadFile.h"
#include "core/text/TextFunctions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace kvn {

using host::PropertyValue;
using Kvs::CNSLog;
using Kvs::FileDescriptor;
using Kvs::FLockGuard;

namespace {

/// Locks the file. Waits only 2 seconds for other holders of the lock: any program may lock the file, and the
/// main thread may wait here.
bool lockFile(const FileDescriptor& file, int kind) {
    constexpr std::chrono::seconds kTimeout(2);
    constexpr std::chrono::milliseconds kPause(1);
    const auto deadline = std::chrono::steady_clock::now() + kTimeout;
    while (::flock(file.get(), kind | LOCK_NB) != 0) {
        const bool held = errno == EWOULDBLOCK;
        if ((!held && errno != EINTR) || std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        if (held) {
            std::this_thread::sleep_for(kPause);
        }
    }
    return true;
}

/// Opens or creates the file. Every user's agent must be able to write it, whatever the umask of the process
/// that creates it. The path may name a FIFO; O_NONBLOCK keeps it from blocking the agent.
FileDescriptor openForWriting(const std::string& path) {
    static auto* const umaskLock = new Kvs::FThreadLock; // the umask belongs to the whole process
    FLockGuard guard(*umaskLock);
    const mode_t before = ::umask(0);
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666));
    const int error = errno;
    ::umask(before);
    errno = error;
    return file;
}

/// Returns false when the file has been deleted or replaced since it was opened.
bool standsAt(const std::string& path, const struct stat& opened) {
    struct stat current {};
    return ::stat(path.c_str(), &current) == 0 && current.st_dev == opened.st_dev &&
           current.st_ino == opened.st_ino;
}

bool writeAt(int file, std::string_view bytes, std::size_t offset) {
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            errno = count == 0 ? ENOSPC : errno;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
        offset += static_cast<std::size_t>(count);
    }
    return true;
}

/// Replaces the old bytes, which must be the whole file, by the new ones. On failure returns false with
/// `errno` set, and restores the old bytes. The file is written in place, because the other programs lock
/// this file and not its name. The part behind the old end is written first: a full disk is then noticed
/// while the old bytes are still complete. Only if the process is killed or the machine fails during the
/// write can the file be left with a mixture.
bool replaceContents(int file, std::string_view oldBytes, std::string_view newBytes) {
    const std::size_t common = std::min(oldBytes.size(), newBytes.size());
    if (writeAt(file, newBytes.substr(common), common) && writeAt(file, newBytes.substr(0, common), 0) &&
        ::ftruncate(file, static_cast<off_t>(newBytes.size())) == 0) {
        return true;
    }
    const int error = errno;
    if (!writeAt(file, oldBytes, 0) || ::ftruncate(file, static_cast<off_t>(oldBytes.size())) != 0) {
        CNSLog("Failed to restore app suite prefs file, errno: %d", errno);
    }
    errno = error;
    return false;
}

host::Error systemError(int number) { return {"POSIX", number, std::strerror(number)}; }

double numberAtStartOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    double value = 0;
    Kvs::fReadDouble(text, value);
    return value;
}

} // namespace

RemoteAppSuitePrefs::RemoteAppSuitePrefs(std::string_view suiteName, const host::PropertyList& propertyList)
    : filePath_(Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/registry/" +
                std::string(suiteName) + ".plist"),
      propertyList_(propertyList) {
    FLockGuard guard(lock_);
    readPreferences();
}

std::optional<PropertyValue> RemoteAppSuitePrefs::valueForKey(std::string_view key) {
    FLockGuard guard(lock_);
    readPreferences();
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<RemoteAppSuitePrefs::Number> RemoteAppSuitePrefs::numberForKey(std::string_view key) {
    const auto value = valueForKey(key);
    if (!value) {
        return std::nullopt;
    }
    return std::visit(
        [](const auto& held) -> std::optional<Number> {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_arithmetic_v<Held>) {
                return held;
            } else if constexpr (std::is_same_v<Held, std::string>) {
                return numberAtStartOf(held);
            } else {
                return std::nullopt;
            }
        },
        value->value);
}

std::optional<std::string> RemoteAppSuitePrefs::stringForKey(std::string_view key) {
    const auto value = valueForKey(key);
    if (!value) {
        return std::nullopt;
    }
    return std::visit(
        [](const auto& held) -> std::optional<std::string> {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, double>) {
                return Kvs::fTextOfDouble(held, 15);
            } else if constexpr (std::is_arithmetic_v<Held>) {
                return std::to_string(held);
            } else if constexpr (std::is_same_v<Held, std::string>) {
                return held;
            } else {
                return std::nullopt;
            }
        },
        value->value);
}

void RemoteAppSuitePrefs::setNumber(Number value, std::string_view key) {
    setPreferenceValue(std::visit([](auto number) { return PropertyValue{number}; }, value), key);
}

void RemoteAppSuitePrefs::setString(std::string value, std::string_view key) {
    setPreferenceValue(PropertyValue{std::move(value)}, key);
}

void RemoteAppSuitePrefs::removeValueForKey(std::string_view key) { setPreferenceValue(std::nullopt, key); }

void RemoteAppSuitePrefs::removeAllValues() {
    constexpr int kAttempts = 10;
    constexpr std::chrono::milliseconds kPause(25);

    FLockGuard guard(lock_);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (::unlink(filePath_.c_str()) == 0 || errno == ENOENT) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

void RemoteAppSuitePrefs::readPreferences() {
    const FileDescriptor file(::open(filePath_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        if (errno != ENOENT) {
            CNSLog("Failed to open app suite prefs file for reading: %s, errno: %d", filePath_.c_str(),
                   errno);
        }
        return;
    }
    if (!lockFile(file, LOCK_SH)) {
        return CNSLog("Failed to lock app suite prefs file for reading: %s, errno: %d", filePath_.c_str(),
                      errno);
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return CNSLog(
            "readPreferences: Failed to get last modification time of app suite prefs file: %s, errno: %d",
            filePath_.c_str(), errno);
    }
    if (lastModified_ && *lastModified_ >= status.st_mtime) {
        return;
    }
    const auto bytes = readBytes(file.get());
    if (auto read = bytes ? readPrefs(*bytes) : std::nullopt) {
        values_ = std::move(*read);
        lastModified_ = status.st_mtime;
    }
}

std::optional<std::string> RemoteAppSuitePrefs::readBytes(int file) const {
    auto bytes = Kvs::fReadAll(file, host::PropertyList::kMaxBytes);
    if (!bytes) {
        Kvs::OCNSLog("Failed to deserialize prefs file, error: %@", systemError(errno));
    }
    return bytes;
}

std::optional<RemoteAppSuitePrefs::Dictionary>
RemoteAppSuitePrefs::readPrefs(const std::string& bytes) const {
    auto parsed = propertyList_.parse(bytes);
    if (auto* list = std::get_if<PropertyValue>(&parsed)) {
        if (auto* dictionary = std::get_if<Dictionary>(&list->value)) {
            return std::move(*dictionary);
        }
        parsed = host::Error{"PropertyList", 0, "not a dictionary"};
    }
    Kvs::OCNSLog("Failed to deserialize prefs file, error: %@", std::get<host::Error>(parsed));
    return std::nullopt;
}

void RemoteAppSuitePrefs::setPreferenceValue(std::optional<PropertyValue> value, std::string_view key) {
    FLockGuard guard(lock_);
    FileDescriptor file;
    struct stat status {};
    do {
        file = openForWriting(filePath_);
        if (!file) {
            return CNSLog("Failed to open app suite prefs file for writing: %s, errno: %d", filePath_.c_str(),
                          errno);
        }
        if (!lockFile(file, LOCK_EX)) {
            return CNSLog("Failed to lock app suite prefs file for writing: %s, errno: %d", filePath_.c_str(),
                          errno);
        }
        if (::fstat(file.get(), &status) != 0) {
            return CNSLog("writePreferences: Failed to get last modification time of app suite prefs file: "
                          "%s, errno: %d",
                          filePath_.c_str(), errno);
        }
    } while (!standsAt(filePath_, status));

    const auto oldBytes = mergePreferences(file.get());
    if (!oldBytes) {
        return;
    }
    Dictionary changed = values_;
    if (value) {
        changed.insert_or_assign(std::string(key), std::move(*value));
    } else if (const auto found = changed.find(key); found != changed.end()) {
        changed.erase(found);
    }
    PropertyValue list{std::move(changed)};
    const auto written = propertyList_.write(list);
    if (const auto* error = std::get_if<host::Error>(&written)) {
        return Kvs::OCNSLog("writePreferences: Failed to serialize app suite prefs, error: %@", *error);
    }
    values_ = std::move(std::get<Dictionary>(list.value));
    if (!replaceContents(file.get(), *oldBytes, std::get<std::string>(written))) {
        return CNSLog("Failed to write app suite prefs file, errno: %d", errno);
    }
    if (::fstat(file.get(), &status) == 0) {
        lastModified_ = status.st_mtime;
    }
}

std::optional<std::string> RemoteAppSuitePrefs::mergePreferences(int file) {
    // The file is read whatever its modification time is: file systems round it, and clocks are set back.
    auto bytes = readBytes(file);
    if (bytes && !bytes->empty()) {
        if (auto read = readPrefs(*bytes)) {
            values_ = std::move(*read);
        } else {
            keepDamagedFile(*bytes);
        }
    }
    return bytes;
}

void RemoteAppSuitePrefs::keepDamagedFile(const std::string& bytes) const {
    const std::string path = filePath_ + ".damaged";
    const FileDescriptor copy(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    const bool kept = copy ? writeAt(copy.get(), bytes, 0) : errno == EEXIST; // an earlier copy is kept
    if (!kept) {
        CNSLog("Failed to keep a copy of damaged app suite prefs file: %s, errno: %d", path.c_str(), errno);
    }
}

} // namespace kvn
