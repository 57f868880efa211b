// SPDX-License-Identifier: MIT

#include "standins/LocalSocket.h"

#include "core/system/PosixDifferences.h"
#include "core/system/Trust.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <utility>

namespace kvn {
namespace {

[[noreturn]] void fail(int error, const std::string& path) {
    throw std::system_error(error, std::generic_category(), path);
}

/// Calls ::bind or ::connect with the address of the path.
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

ListeningSocket::ListeningSocket(std::string path, mode_t mode) : path_(std::move(path)) {
    if (connectedTo(path_) || errno == EAGAIN) {
        fail(EADDRINUSE, path_);
    }
    if (errno == ENAMETOOLONG) {
        fail(errno, path_);
    }
    // Made under another name and then renamed, so that a client that finds the socket file can connect at
    // once.
    const std::string unready = path_.substr(0, path_.rfind('/') + 1) + "." + std::to_string(::getpid());
    socket_ = nonBlocking(Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM));
    ::unlink(unready.c_str());
    if (!socket_ || withAddress(::bind, socket_, unready) != 0 || ::listen(socket_.get(), 16) != 0 ||
        ::chmod(unready.c_str(), mode) != 0 || ::rename(unready.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        ::unlink(unready.c_str());
        fail(error, path_);
    }
}

Kvs::FileDescriptor ListeningSocket::accept() const {
    auto peer = nonBlocking(Kvs::FileDescriptor(::accept(socket_.get(), nullptr, nullptr)));
    if (peer && Kvs::fCheckPeer(peer.get()) != 0) {
        peer.reset();
    }
    return peer;
}

void ListeningSocket::remove() {
    if (!path_.empty()) {
        ::unlink(path_.c_str());
        path_.clear();
    }
}

} // namespace kvn
