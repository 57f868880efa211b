// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "core/text/TextFunctions.h"

#include <cerrno>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Kvs {

namespace {

bool isLogFileName(const std::string& fileName) {
    const std::string name = fLowerAscii(fileName);
    return name.ends_with(".txt") || name.ends_with(".log") || name.ends_with(".zip");
}

std::string pathIn(const std::string& dir, const char* name) {
    return dir + (dir.ends_with('/') ? "" : "/") + name;
}

double ageInSeconds(const struct stat& status) {
    const timespec modified = modificationTime(status);
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    return now.count() - static_cast<double>(modified.tv_sec) - static_cast<double>(modified.tv_nsec) / 1e9;
}

/// An entry is looked at and removed by its name in the open directory, so that nobody can put another
/// directory there meanwhile.
void cleanUpEntry(const std::string& dir, int directory, const char* name, double maxAgeSeconds) {
    struct stat status {};
    if (::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        OCNSLog("cleanupLogDir: Failed to get attributes of cleanup directory: %@", pathIn(dir, name));
        return;
    }
    // Folders are kept, even if they have the name of a log file. A symbolic link is removed itself, not its
    // target.
    if (!S_ISDIR(status.st_mode) && ageInSeconds(status) > maxAgeSeconds &&
        ::unlinkat(directory, name, 0) != 0) {
        OCNSLog("Failed to delete log file: %@, error: %@", pathIn(dir, name),
                std::generic_category().message(errno));
    }
}

void cleanUpDirectory(const std::string& dir, double maxAgeSeconds) {
    constexpr std::chrono::milliseconds kLongest(50); // since the main thread waits
    const auto end = std::chrono::steady_clock::now() + kLongest;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(dir.c_str()), ::closedir);
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
        if (isLogFileName(entry->d_name)) {
            cleanUpEntry(dir, ::dirfd(entries.get()), entry->d_name, maxAgeSeconds);
        }
        if (std::chrono::steady_clock::now() > end) {
            OCNSLog("cleanupLogDir: %@ has too many entries, the next start goes on", dir);
            return;
        }
    }
}

} // namespace

void CNSCleanupLogDir(const char* dir, double maxAgeMinutes) {
    constexpr std::string_view kLogs = "/logs";
    const std::string_view path = dir ? dir : "";
    if (path.empty()) {
        return;
    }
    cleanUpDirectory(std::string(path), maxAgeMinutes * 60);
    if (path.ends_with(kLogs)) {
        cleanUpDirectory(std::string(path.substr(0, path.size() - kLogs.size())) + "/", maxAgeMinutes * 60);
    }
}

} // namespace Kvs
