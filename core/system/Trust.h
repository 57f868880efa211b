// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <string>
#include <sys/types.h>

/// The users that this process obeys: root and its own one. Any thread.
namespace Kvs {

/// Returns true for root and for the user whose rights this process has.
bool fIsTrustedUser(uid_t user);

/// Checks the process at the other end of a connected Unix-domain socket. Returns 0 for one of a trusted
/// user, EACCES for one of another user, or another `errno` value when the system does not tell.
int fCheckPeer(int socket);

/// Opens a file that decides what this process does, such as the policy of an administrator, for reading.
/// Returns an empty descriptor, with `errno` set, unless nobody else can change the file: with EPERM when it
/// is no regular file, or when it or its folder belongs to another user than root or can be written by the
/// group or by others; with ELOOP or ENOTDIR when one of them is a symbolic link. The own user counts as root
/// if a root folder is set. Does not block, even when the path names a FIFO.
FileDescriptor fOpenTrustedFile(const std::string& path);

} // namespace Kvs
