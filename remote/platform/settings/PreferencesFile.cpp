// SPDX-License-Identifier: MIT

#include "remote/platform/settings/PreferencesFile.h"

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "core/system/ReadFile.h"
#include "host/PropertyList.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace kvn::preferences {

using Kvs::FileDescriptor;

namespace {

/// A link in place of the file is not followed, and a FIFO does not block.
constexpr int kOpenFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

FileVersion versionFrom(const struct stat& status) {
    const timespec modified = Kvs::modificationTime(status);
    const timespec changed = Kvs::statusChangeTime(status);
    return {.device = status.st_dev,
            .inode = status.st_ino,
            .size = status.st_size,
            .modified = {modified.tv_sec, modified.tv_nsec},
            .changed = {changed.tv_sec, changed.tv_nsec}};
}

FileVersion unknownVersion() {
    FileVersion version;
    version.error = errno;
    return version;
}

/// Returns the file if it may be the preferences. A second name would be that of another file of a user.
FileDescriptor accepted(FileDescriptor file) {
    struct stat status {};
    if (file && ::fstat(file.get(), &status) == 0) {
        errno = S_ISREG(status.st_mode) ? EMLINK : EINVAL;
        if (S_ISREG(status.st_mode) && status.st_nlink <= 1) {
            return file;
        }
    }
    return {};
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

} // namespace

FileVersion versionAt(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? versionFrom(status) : unknownVersion();
}

FileVersion versionOf(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 ? versionFrom(status) : unknownVersion();
}

FileDescriptor openForReading(const std::string& path) {
    return accepted(FileDescriptor(::open(path.c_str(), O_RDONLY | kOpenFlags)));
}

FileDescriptor openForWriting(const std::string& path) {
    constexpr int kAttempts = 10; // others may make and delete the file meanwhile
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        FileDescriptor file(::open(path.c_str(), O_RDWR | kOpenFlags));
        if (file || errno != ENOENT) {
            return accepted(std::move(file));
        }
        file = FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | kOpenFlags, 0666));
        if (file) {
            ::fchmod(file.get(), 0666); // whatever the umask is
        }
        if (file || errno != EEXIST) {
            return file;
        }
    }
    return {};
}

bool lockForWriting(int file) {
    int result = 0;
    do {
        result = ::flock(file, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool standsAt(const std::string& path, int file) {
    const FileVersion found = versionAt(path);
    const FileVersion opened = versionOf(file);
    return found.error == 0 && found.device == opened.device && found.inode == opened.inode;
}

std::optional<std::string> readContents(int file, bool locked) {
    const FileVersion before = versionOf(file);
    auto bytes = Kvs::fReadAll(file, host::PropertyList::kMaxBytes);
    if (locked || !bytes) {
        return bytes;
    }
    // The time of a file moves in steps, so that a write within a step shows only in the bytes.
    ::lseek(file, 0, SEEK_SET);
    if (bytes == Kvs::fReadAll(file, host::PropertyList::kMaxBytes) && versionOf(file) == before) {
        return bytes;
    }
    errno = EAGAIN;
    return std::nullopt;
}

bool replaceContents(int file, std::string_view oldBytes, std::string_view newBytes) {
    // The file is written in place, because the other programs lock this file and not its name. The part
    // behind the old end is written first: a full disk is then noticed while the old bytes are still
    // complete. A process that is killed between two of these calls leaves one of the two lists, followed by
    // the end of the other; only within a call can it leave a mixture.
    const std::size_t common = std::min(oldBytes.size(), newBytes.size());
    if (writeAt(file, newBytes.substr(common), common) && writeAt(file, newBytes.substr(0, common), 0) &&
        ::ftruncate(file, static_cast<off_t>(newBytes.size())) == 0) {
        return true;
    }
    const int error = errno;
    if (!writeAt(file, oldBytes, 0) || ::ftruncate(file, static_cast<off_t>(oldBytes.size())) != 0) {
        Kvs::CNSLog("Failed to restore app suite prefs file, errno: %d", errno);
    }
    errno = error;
    return false;
}

bool keepCopy(const std::string& path, std::string_view bytes) {
    const FileDescriptor copy(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | kOpenFlags, 0600));
    return copy ? writeAt(copy.get(), bytes, 0) : errno == EEXIST;
}

} // namespace kvn::preferences
