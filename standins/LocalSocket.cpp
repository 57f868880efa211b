#include "standins/LocalSocket.h"

#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>

namespace kvn {
namespace {

[[noreturn]] void fail(int error, const std::string& path) {
    throw std::system_error(error, std::generic_category(), path);
}

/// Calls ::bind or ::connect with the path's address.
template <class Call>
int withAddress(Call call, const Kvs::FileDescriptor& socket, const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return call(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

Kvs::FileDescriptor nonBlocking(Kvs::FileDescriptor socket) {
    if (socket) {
        ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
        ::fcntl(socket.get(), F_SETFL, ::fcntl(socket.get(), F_GETFL) | O_NONBLOCK);
    }
    return socket;
}

} // namespace

Kvs::FileDescriptor connectedTo(const std::string& path) {
    auto socket = nonBlocking(Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM));
    if (socket && withAddress(::connect, socket, path) != 0) {
        const int error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
}

Kvs::FileDescriptor listeningAt(const std::string& path, mode_t mode, int backlog) {
    if (connectedTo(path) || errno == EAGAIN) {
        fail(EADDRINUSE, path);
    }
    if (errno == ENAMETOOLONG) {
        fail(errno, path);
    }
    const std::string unready = path.substr(0, path.rfind('/') + 1) + "." + std::to_string(::getpid());
    auto socket = nonBlocking(Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM));
    ::unlink(unready.c_str());
    if (!socket || withAddress(::bind, socket, unready) != 0 || ::listen(socket.get(), backlog) != 0 ||
        ::chmod(unready.c_str(), mode) != 0 || ::rename(unready.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(unready.c_str());
        fail(error, path);
    }
    return socket;
}

Kvs::FileDescriptor acceptedFrom(const Kvs::FileDescriptor& listener) {
    return nonBlocking(Kvs::FileDescriptor(::accept(listener.get(), nullptr, nullptr)));
}

} // namespace kvn
