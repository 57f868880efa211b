// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>

/// The calls on the preferences file. Every user may write the file, and may have put something else in its
/// place, so only a regular file with one name is opened. Failures are reported in `errno`. Any thread.
namespace kvn::preferences {

/// What the file system tells about a file, which differs after every change that it can tell apart.
struct FileVersion {
    using Time = std::pair<std::time_t, long>; // seconds and nanoseconds

    int error = 0; // of a file that cannot be examined
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    Time modified;
    Time changed;
    bool operator==(const FileVersion&) const = default;
};

FileVersion versionAt(const std::string& path);
FileVersion versionOf(int file);

Kvs::FileDescriptor openForReading(const std::string& path);

/// Creates the file if it is missing, so that every user may read and write it.
Kvs::FileDescriptor openForWriting(const std::string& path);

/// Waits for other holders of the file's lock, without a limit.
bool lockForWriting(int file);

/// Returns true if it is this open file that has the path, false after it has been deleted or replaced.
bool standsAt(const std::string& path, int file);

/// Reads the whole file. `locked` tells that the caller holds the file's lock. Otherwise a writer may be at
/// work, and contents that change meanwhile are a failure with EAGAIN.
std::optional<std::string> readContents(int file, bool locked);

/// Replaces the old bytes, which must be the whole file, by the new ones. Restores the old bytes on failure.
bool replaceContents(int file, std::string_view oldBytes, std::string_view newBytes);

/// Writes the bytes to a new file that only this user may read. Returns true too if there is a file already.
bool keepCopy(const std::string& path, std::string_view bytes);

} // namespace kvn::preferences
