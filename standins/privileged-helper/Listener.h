#pragma once

#include "core/system/FileDescriptor.h"

#include <optional>
#include <string>
#include <sys/stat.h>

namespace kvn::helper {

/// The helper's listening socket. Main thread.
class Listener {
public:
    /// Makes the socket, or goes on with an inherited one. Throws std::system_error when it cannot, or when
    /// another helper listens there.
    Listener(std::string path, mode_t mode, std::optional<int> inherited);

    int descriptor() const { return socket_.get(); }

    /// The next peer; empty when there is none, or when it is neither a process of root nor of this user.
    Kvs::FileDescriptor accept() const;

    /// Lets a program that this process executes inherit the descriptor.
    void handOn() const;

    /// Removes the socket file, unless it is another helper's by now.
    void remove() const;

private:
    const std::string path_;
    Kvs::FileDescriptor socket_;
    struct stat file_ {};
};

} // namespace kvn::helper
