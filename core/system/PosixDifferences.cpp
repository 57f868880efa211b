// SPDX-License-Identifier: MIT

#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <utility>

#if defined(__APPLE__)
#include <asl.h>
#include <mach/mach_init.h>
#include <mutex>
#include <pthread.h>
#include <sys/event.h>
#include <sys/sysctl.h>
#include <sys/un.h>
#include <unistd.h>
#else
#include <fstream>
#include <malloc.h>
#include <sys/syscall.h>
#include <syslog.h>
#endif

namespace Kvs {

std::uint32_t threadIdNumber() {
#if defined(__APPLE__)
    // This is the thread's port name. pthread owns the port, so it must not be released.
    return pthread_mach_thread_np(pthread_self());
#else
    // This is the kernel's number; older C libraries have no function for it.
    return static_cast<std::uint32_t>(syscall(SYS_gettid));
#endif
}

void useOneHeap() {
#if defined(__GLIBC__)
    mallopt(M_ARENA_MAX, 1);
#endif
}

bool isBeingTraced() {
#if defined(__APPLE__)
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
    kinfo_proc info{};
    size_t size = sizeof info;
    return sysctl(name, 4, &info, &size, nullptr, 0) == 0 && (info.kp_proc.p_flag & P_TRACED) != 0;
#else
    // Linux has no such flag; the status file names the tracing process, or 0 if there is none.
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == "TracerPid:") {
            int tracer = 0;
            return status >> tracer && tracer != 0;
        }
    }
    return false;
#endif
}

#if defined(__APPLE__)
// Deprecated since 10.12 in favour of os_log, which has no facility and no copy to standard error. These
// calls write into the same log.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace {
std::mutex systemLogLock;
asl_object_t systemLog = nullptr; // null is the process's own connection
} // namespace

void openSystemLog(const char* facility, bool withConsole) {
    systemLog = asl_open(nullptr, facility, withConsole ? ASL_OPT_STDERR : 0);
}

void writeToSystemLog(const std::string& text) {
    // The process's own connection has a lock; one that was opened has none.
    const std::lock_guard guard(systemLogLock);
    asl_log(systemLog, nullptr, ASL_LEVEL_NOTICE, "%s", text.c_str());
}

void copyConsoleToSystemLog(const std::string& text) { writeToSystemLog(text); }

#pragma clang diagnostic pop
#else
void openSystemLog(const char* facility, bool withConsole) {
    openlog(facility, withConsole ? LOG_PERROR : 0, LOG_USER);
}

void writeToSystemLog(const std::string& text) { syslog(LOG_NOTICE, "%s", text.c_str()); }

void copyConsoleToSystemLog(const std::string&) {}
#endif

timespec modificationTime(const struct stat& status) {
#if defined(__APPLE__)
    return status.st_mtimespec; // macOS's name for st_mtim
#else
    return status.st_mtim;
#endif
}

timespec statusChangeTime(const struct stat& status) {
#if defined(__APPLE__)
    return status.st_ctimespec;
#else
    return status.st_ctim;
#endif
}

FileDescriptor closeOnExecSocket(int domain, int type) {
#if defined(SOCK_CLOEXEC)
    return FileDescriptor(::socket(domain, type | SOCK_CLOEXEC, 0));
#else
    // The flag cannot be given at creation here, so a fork on another thread may inherit the socket.
    FileDescriptor socket(::socket(domain, type, 0));
    if (socket && ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC) != 0) {
        const int error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
#endif
}

std::pair<FileDescriptor, FileDescriptor> closeOnExecPipe(bool blocks) {
    int ends[2];
#if defined(__APPLE__)
    // The flags cannot be given at creation here, so a fork on another thread may inherit the ends.
    if (::pipe(ends) != 0) {
        return {};
    }
    std::pair<FileDescriptor, FileDescriptor> made(ends[0], ends[1]);
    for (const int end : ends) {
        if (::fcntl(end, F_SETFD, FD_CLOEXEC) != 0 || (!blocks && ::fcntl(end, F_SETFL, O_NONBLOCK) != 0)) {
            return {};
        }
    }
    return made;
#else
    if (::pipe2(ends, O_CLOEXEC | (blocks ? 0 : O_NONBLOCK)) != 0) {
        return {};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
#endif
}

int spawnWithStandardDescriptorsOnly(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes) {
#if defined(__APPLE__)
    // A flag closes all descriptors except those that an action names; the action that opens descriptor 0
    // names it already.
    short flags = 0;
    for (const int result :
         {posix_spawnattr_getflags(&attributes, &flags),
          posix_spawnattr_setflags(&attributes, static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT)),
          posix_spawn_file_actions_addinherit_np(&actions, 1),
          posix_spawn_file_actions_addinherit_np(&actions, 2)}) {
        if (result != 0) {
            return result;
        }
    }
    return 0;
#else
    static_cast<void>(attributes);
    return posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif
}

FileDescriptor watchProcessEnd(pid_t process) {
#if defined(__APPLE__)
    FileDescriptor queue(::kqueue());
    struct kevent change {};
    EV_SET(&change, process, EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    if (!queue || ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) == 0) {
        return queue;
    }
    // A child that ended before can no longer be watched; the queue is made readable in its place.
    EV_SET(&change, 0, EVFILT_USER, EV_ADD, 0, 0, nullptr);
    struct kevent trigger {};
    EV_SET(&trigger, 0, EVFILT_USER, 0, NOTE_TRIGGER, 0, nullptr);
    const bool ended = errno == ESRCH && ::kevent(queue.get(), &change, 1, nullptr, 0, nullptr) == 0 &&
                       ::kevent(queue.get(), &trigger, 1, nullptr, 0, nullptr) == 0;
    return ended ? std::move(queue) : FileDescriptor();
#else
    return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
#endif
}

std::optional<PeerCredentials> peerCredentialsOf(int socket) {
#if defined(__APPLE__)
    PeerCredentials peer{};
    gid_t group{};
    socklen_t size = sizeof peer.process;
    if (::getpeereid(socket, &peer.user, &group) != 0 ||
        ::getsockopt(socket, SOL_LOCAL, LOCAL_PEERPID, &peer.process, &size) != 0) {
        return std::nullopt;
    }
    return peer;
#else
    // One option returns both; there is no getpeereid.
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return std::nullopt;
    }
    return PeerCredentials{peer.uid, peer.pid};
#endif
}

int preventSigPipe(int socket) {
#if defined(SO_NOSIGPIPE)
    const int on = 1;
    return ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) == 0 ? 0 : errno;
#else
    static_cast<void>(socket);
    return 0;
#endif
}

} // namespace Kvs
