// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <string>
#include <sys/types.h>

/// Unix-domain stream sockets of the stand-ins. Main thread, except `connectedTo`: any thread.
namespace kvn {

/// Returns a non-blocking socket that is connected to the path; an empty one, with `errno` set, when the
/// connection cannot be made at once.
Kvs::FileDescriptor connectedTo(const std::string& path);

/// A listening socket. Its file appears once connections are accepted.
class ListeningSocket {
public:
    /// Replaces a stale socket file. Throws std::system_error when the socket cannot be made, or when
    /// another process listens there already.
    ListeningSocket(std::string path, mode_t mode);

    /// Removes the socket file, unless `remove` has done so.
    ~ListeningSocket() { remove(); }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    int descriptor() const { return socket_.get(); }

    /// Returns the next connection, non-blocking; an empty one when there is none, or when the peer is a
    /// process of another user than root and this one.
    Kvs::FileDescriptor accept() const;

    /// Removes the socket file, so that no further client connects.
    void remove();

private:
    std::string path_; // empty once the file is removed
    Kvs::FileDescriptor socket_;
};

} // namespace kvn
