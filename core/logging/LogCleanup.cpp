// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "core/text/TextFunctions.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Kvs {

namespace {

namespace fs = std::filesystem;

bool isLogFileName(const std::string& fileName) {
    const std::string name = fLowerAscii(fileName);
    return name.ends_with(".txt") || name.ends_with(".log") || name.ends_with(".zip");
}

double ageInSeconds(const struct stat& status) {
    const timespec modified = modificationTime(status);
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    return now.count() - static_cast<double>(modified.tv_sec) - static_cast<double>(modified.tv_nsec) / 1e9;
}

void cleanUpFile(const std::string& path, double maxAgeSeconds) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        OCNSLog("cleanupLogDir: Failed to get attributes of cleanup directory: %@", path);
        return;
    }
    // Folders are kept, even if they have the name of a log file. A symbolic link is removed itself, not its
    // target.
    const bool isFile = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
    if (isFile && ageInSeconds(status) > maxAgeSeconds && ::unlink(path.c_str()) != 0) {
        OCNSLog("Failed to delete log file: %@, error: %@", path, std::generic_category().message(errno));
    }
}

void cleanUpDirectory(const std::string& dir, double maxAgeSeconds) {
    std::error_code error;
    for (fs::directory_iterator entry(dir, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (isLogFileName(entry->path().filename().string())) {
            cleanUpFile(entry->path().string(), maxAgeSeconds);
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
