// SPDX-License-Identifier: MIT

#include "host/linux/LinuxRunningApplications.h"

#include "core/system/FSysInfoPaths.h"
#include "core/system/ReadFile.h"
#include "host/linux/ProcessDescriptor.h"
#include "host/posix/ProgramRoot.h"

#include <charconv>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::host {
namespace fs = std::filesystem;
namespace {

const fs::path kSelf = "/proc/self";

fs::path entryOf(pid_t process) { return fs::path("/proc") / std::to_string(process); }

/// Returns the path of the process's executable, even if the file has been deleted.
std::string executableOf(const fs::path& entry) {
    constexpr std::string_view kDeleted = " (deleted)"; // proc(5)
    std::error_code ignored;
    std::string path = fs::read_symlink(entry / "exe", ignored).string();
    if (path.ends_with(kDeleted)) {
        path.resize(path.size() - kDeleted.size());
    }
    return path;
}

} // namespace

/// The executable of this process, which a search compares with that of each other one.
class LinuxRunningApplications::OwnExecutable {
public:
    bool isRunBy(const fs::path& entry) const {
        struct stat other {};
        return known_ && ::stat((entry / "exe").c_str(), &other) == 0 &&
               ((status_.st_dev == other.st_dev && status_.st_ino == other.st_ino) ||
                executableOf(entry) == path_);
    }

private:
    struct stat status_ {};
    const bool known_ = ::stat((kSelf / "exe").c_str(), &status_) == 0;
    const std::string path_ = executableOf(kSelf);
};

namespace {

/// Returns true for a child of this process. Between its fork and its exec it looks like this process.
bool isOwnChild(const fs::path& entry) {
    const auto text = Kvs::fReadFile((entry / "stat").string(), 4096);
    const auto name = text ? text->rfind(')') : std::string::npos; // the name may contain any character
    pid_t parent = 0;
    return name != std::string::npos && std::sscanf(text->c_str() + name, ") %*c %d", &parent) == 1 &&
           parent == ::getpid();
}

/// Returns the root that the process uses, from its arguments; an empty one for the real file system. Returns
/// nullopt when the arguments cannot be read, and while there are none: the system sets them up last when it
/// starts a program.
std::optional<fs::path> rootOf(const fs::path& entry) {
    constexpr std::size_t kLongestArguments = std::size_t{2} << 20; // the system's default limit
    const auto arguments = Kvs::fReadFile((entry / "cmdline").string(), kLongestArguments);
    if (!arguments || arguments->empty()) {
        return std::nullopt;
    }
    std::error_code ignored;
    return rootOfProgram(*arguments, fs::read_symlink(entry / "cwd", ignored));
}

} // namespace

LinuxRunningApplications::LinuxRunningApplications(std::string bundleIdentifier)
    : bundleIdentifier_(std::move(bundleIdentifier)), root_(Kvs::FSysInfoPaths::underRoot("")) {}

std::vector<pid_t> LinuxRunningApplications::instancesOf(const std::string& bundleIdentifier) const {
    std::vector<pid_t> instances;
    if (bundleIdentifier != bundleIdentifier_) {
        return instances;
    }
    const OwnExecutable own;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        pid_t process = 0;
        const auto [rest, problem] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (problem == std::errc() && *rest == '\0' && isInstance(process, own)) {
            instances.push_back(process);
        }
    }
    return instances;
}

bool LinuxRunningApplications::forceTerminate(pid_t process) {
    // Opened before the check: the descriptor always refers to the process that is checked, while its number
    // may be reused.
    const Kvs::FileDescriptor handle = openProcess(process);
    if (!isInstance(process, OwnExecutable())) {
        return false;
    }
    if (!handle) { // a kernel older than 5.3
        return ::kill(process, SIGKILL) == 0;
    }
    return sendSignal(handle, SIGKILL);
}

bool LinuxRunningApplications::isInstance(pid_t process, const OwnExecutable& own) const {
    const fs::path entry = entryOf(process);
    struct stat status {};
    return ::stat(entry.c_str(), &status) == 0 && status.st_uid == ::geteuid() && own.isRunBy(entry) &&
           rootOf(entry) == root_ && !isOwnChild(entry);
}

} // namespace kvn::host
