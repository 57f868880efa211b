// SPDX-License-Identifier: MIT

#include "core/messenger/FComMessengerPipe.h"

#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/messenger/PipeWorker.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/LocalAddress.h"
#include "core/system/PosixDifferences.h"
#include "core/system/Trust.h"
#include "core/text/FGStr.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <utility>

namespace Kvs {
namespace {

constexpr int kBacklog = 5;
constexpr mode_t kForEveryone = 0777;

// A main thread may send two messages at once, and is held for no longer than 100 ms. A server that reads at
// all has room for many messages.
constexpr std::chrono::milliseconds kClientSendLimit{20};

/// Logs the failed call and returns its error number.
FResult failed(const char* call) {
    const int error = errno;
    CNSLog("FComMessengerPipe: %s%d, %s", call, error, std::strerror(error));
    return error;
}

FResult noSocket() { return failed("failed to create Unix domain socket, errno: "); }

/// Every user can put a link in the place of what this process has just made; it is not followed. Fails for
/// what another user has made, who decides its mode.
void openForEveryone(const std::string& path) {
    [[maybe_unused]] const int ignored =
        ::fchmodat(AT_FDCWD, path.c_str(), kForEveryone, AT_SYMLINK_NOFOLLOW);
}

void makeDirectories(const std::string& base, const std::string& pipes) {
    ::mkdir(base.c_str(), kForEveryone);
    if (::mkdir(pipes.c_str(), kForEveryone) != 0) {
        const int error = errno;
        CNSLog("Failed to create directory for Unix domain sockets, errno: %d, %s", error,
               std::strerror(error));
    }
    openForEveryone(base); // the umask may have taken rights from mkdir
}

void storeName(FPipeState& state, const wchar_t* name) {
    FLockGuard guard(state.lock);
    state.name = name;
}

void storeSocket(FPipeState& state, PipeConnectionRef socket) {
    FLockGuard guard(state.lock);
    std::swap(state.socket, socket);
}

} // namespace

std::string FComMessengerPipe::pipeFullPath(const wchar_t* name, bool create) {
    const std::string base = FSysInfoPaths::underRoot("/var/tmp/com.korvane");
    const std::string pipes = base + "/pipes";
    struct stat status {};
    if (create && ::stat(pipes.c_str(), &status) != 0) {
        makeDirectories(base, pipes);
    }
    return (pipes + "/" + fNarrow(FGStr<wchar_t>(name))).substr(0, LocalAddress::kLongestPath);
}

FResult FComMessengerPipe::openOnServer(const wchar_t* name) {
    storeName(*state_, name);
    const std::string path = pipeFullPath(name, true);
    FileDescriptor socket = closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    if (!socket || ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0) {
        return noSocket();
    }
    ::unlink(path.c_str()); // the file may be left from a server that has ended
    if (::bind(socket.get(), LocalAddress(path).get(), LocalAddress::kLength) != 0) {
        return failed("bind error: ");
    }
    if (::listen(socket.get(), kBacklog) != 0) {
        return failed("listen error: ");
    }
    openForEveryone(path);
    try {
        auto wakePipe = std::make_unique<WakePipe>();
        storeSocket(*state_, fMakeRef<PipeConnection>(std::move(socket), std::move(wakePipe)));
    } catch (const FException&) {
        return noSocket();
    }
    return kSuccess;
}

FResult FComMessengerPipe::openOnClient(const wchar_t* name) {
    storeName(*state_, name);
    const std::string path = pipeFullPath(name, false);
    FileDescriptor socket = closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    // A server that accepts no peer must not block the caller, which may be a main thread.
    if (!socket || ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0) {
        return noSocket();
    }
    if (::connect(socket.get(), LocalAddress(path).get(), LocalAddress::kLength) != 0) {
        return failed("connect error ");
    }
    // Every user can listen in the directory under the server's name.
    if ((errno = fCheckPeer(socket.get())) != 0) {
        return failed("connect error ");
    }
    if (::fcntl(socket.get(), F_SETFL, 0) != 0) {
        return noSocket();
    }
    CNSDbgLog("FComMessengerPipe: connected %d", socket.get());
    storeSocket(*state_, fMakeRef<PipeConnection>(std::move(socket), kClientSendLimit));
    return kSuccess;
}

} // namespace Kvs
