#include "standins/privileged-helper/Listener.h"

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "standins/LocalSocket.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::helper {

Listener::Listener(std::string path, mode_t mode, std::optional<int> inherited)
    : path_(std::move(path)),
      socket_(inherited ? Kvs::FileDescriptor(*inherited) : listeningAt(path_, mode, 16)) {
    if (::fcntl(socket_.get(), F_SETFD, FD_CLOEXEC) != 0 || ::stat(path_.c_str(), &file_) != 0) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

Kvs::FileDescriptor Listener::accept() const {
    Kvs::FileDescriptor peer = acceptedFrom(socket_);
    if (!peer) {
        return peer;
    }
    const auto credentials = Kvs::peerCredentialsOf(peer.get());
    if (!credentials || (credentials->user != 0 && credentials->user != ::geteuid())) {
        Kvs::CNSLog("Refused a connection of user %d",
                    credentials ? static_cast<int>(credentials->user) : -1);
        peer.reset();
    }
    return peer;
}

void Listener::handOn() const { ::fcntl(socket_.get(), F_SETFD, 0); }

void Listener::remove() const {
    struct stat now {};
    if (::stat(path_.c_str(), &now) == 0 && now.st_dev == file_.st_dev && now.st_ino == file_.st_ino) {
        ::unlink(path_.c_str());
    }
}

} // namespace kvn::helper
