#pragma once

#include "core/system/FileDescriptor.h"

#include <string>
#include <sys/types.h>

/// Unix-domain stream sockets of the stand-ins. Any thread.
namespace kvn {

/// A non-blocking socket connected to the path; empty, with `errno` set, when that cannot be done at once.
Kvs::FileDescriptor connectedTo(const std::string& path);

/// A non-blocking listening socket, which appears at the path once it takes connections, in place of one that
/// is stale. Throws std::system_error when it cannot be made, or when somebody listens there already.
Kvs::FileDescriptor listeningAt(const std::string& path, mode_t mode, int backlog);

/// The next connection of a listening socket, non-blocking; empty when there is none.
Kvs::FileDescriptor acceptedFrom(const Kvs::FileDescriptor& listener);

} // namespace kvn
