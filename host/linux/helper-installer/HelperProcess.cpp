// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/HelperProcess.h"

#include "core/system/FSysInfoPaths.h"
#include "host/linux/ProcessDescriptor.h"
#include "host/linux/helper-installer/HelperFiles.h"
#include "host/linux/helper-installer/SystemdUnit.h"
#include "host/posix/PollUntil.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kvn::host {

namespace fs = std::filesystem;
using Kvs::FileDescriptor;

namespace {

/// Returns descriptors of the processes that run the file.
std::vector<FileDescriptor> processesOf(const std::string& tool) {
    std::error_code error;
    // The kernel reports the path without symbolic links, and marks a file that has been replaced.
    const std::string program = fs::canonical(tool, error);
    std::vector<FileDescriptor> found;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        pid_t pid = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), pid).ptr != name.data() + name.size()) {
            continue;
        }
        FileDescriptor process =
            openProcess(pid); // opened first: the link below is then that of this process
        std::error_code unreadable;
        const std::string runs = fs::read_symlink(entry->path() / "exe", unreadable);
        if (process && !unreadable && (runs == program || runs == program + " (deleted)")) {
            found.push_back(std::move(process));
        }
    }
    return found;
}

/// Waits for the end of all processes. Returns 0, ETIMEDOUT, or ECANCELED once `interruption` is readable.
int waitForAll(std::vector<FileDescriptor>& processes, Deadline deadline, int interruption) {
    for (; !processes.empty(); processes.pop_back()) {
        pollfd polled[] = {{processes.back().get(), POLLIN, 0}, {interruption, POLLIN, 0}};
        if (pollUntil(polled, deadline) <= 0) {
            return ETIMEDOUT;
        }
        if (polled[0].revents == 0) {
            return ECANCELED;
        }
    }
    return 0;
}

/// Detects a new socket at a path, even in place of an old one.
class SocketWatch {
public:
    explicit SocketWatch(std::string path)
        : path_(std::move(path)), before_(identity()), notices_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        const std::string folder = fs::path(path_).parent_path();
        ::inotify_add_watch(notices_.get(), folder.c_str(), IN_CREATE | IN_MOVED_TO);
    }

    bool hasAppeared() const {
        const Identity now = identity();
        return now.isSocket && now != before_;
    }

    /// Returns the descriptor to poll. It is readable when the folder has changed since `drain`.
    int descriptor() const { return notices_.get(); }
    void drain() const {
        alignas(inotify_event) char notices[4096];
        while (::read(notices_.get(), notices, sizeof notices) > 0) {
        }
    }

private:
    /// An inode's number alone is not enough, because it is soon reused.
    struct Identity {
        bool isSocket = false;
        ino_t file = 0;
        time_t seconds = 0;
        long nanoseconds = 0;
        bool operator==(const Identity&) const = default;
    };
    Identity identity() const {
        struct stat status {};
        if (::lstat(path_.c_str(), &status) != 0) {
            return {};
        }
        return {S_ISSOCK(status.st_mode), status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    }

    const std::string path_;
    const Identity before_;
    const FileDescriptor notices_;
};

} // namespace

std::optional<Error> endHelper(const std::string& tool, int interruption) {
    constexpr std::pair<int, std::chrono::seconds> kSteps[] = {{SIGTERM, std::chrono::seconds(3)},
                                                               {SIGKILL, std::chrono::seconds(3)}};
    std::vector<FileDescriptor> running = processesOf(tool);
    for (const auto& [signal, patience] : kSteps) {
        for (const FileDescriptor& process : running) {
            if (!sendSignal(process, signal) && errno != ESRCH) {
                return posixError(errno, "The running helper");
            }
        }
        const int result = waitForAll(running, deadlineIn(patience), interruption);
        if (result != ETIMEDOUT) {
            return result == 0 ? std::nullopt : std::optional(posixError(result, "The running helper"));
        }
    }
    return posixError(ETIMEDOUT, "The running helper");
}

std::optional<Error> startHelper(const std::string& label, ProcessRunner& runner, int interruption) {
    // A helper's identifier, which names its socket, is its label. The program is started by its path: only
    // the installer's user may change what is there.
    const SocketWatch socket(Kvs::FSysInfoPaths::underRoot("/var/run/" + label + ".socket"));
    const auto launched =
        hasUnit(label) ? startUnit(label, runner)
                       : runner.launch(helperToolPath(label), helperArguments(), ProcessRunner::Output::None);
    if (const auto* error = std::get_if<Error>(&launched)) {
        return *error;
    }
    const pid_t pid = std::get<pid_t>(launched);
    const FileDescriptor process =
        pid > 0 ? openProcess(pid) : FileDescriptor(); // empty once it has been reaped
    const Deadline deadline = deadlineIn(std::chrono::seconds(2));
    bool ended = !process;
    while (!socket.hasAppeared()) {
        if (ended) {
            return posixError(ECHILD, "The helper " + label + " ended at once");
        }
        pollfd polled[] = {
            {socket.descriptor(), POLLIN, 0}, {process.get(), POLLIN, 0}, {interruption, POLLIN, 0}};
        if (pollUntil(polled, deadline) <= 0 || polled[2].revents != 0) {
            break;
        }
        ended = polled[1].revents != 0;
        socket.drain();
    }
    return std::nullopt;
}

} // namespace kvn::host
