// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <string>

namespace kvn::host {

/// Whose files are installed: those that this user may read, or only those that nobody but root can change.
enum class Trust { Own, RootOnly };

/// Returns the trust with which this process installs by itself: below another root its user's own files, in
/// the real file system only root's.
Trust trustOfThisProcess();

/// Opens a folder. With `Trust::RootOnly` every folder on the way must belong to root, only root may write to
/// it, and none may be a symbolic link. Nobody else can then exchange what is in the folder while it is used.
/// Makes missing folders if `make` is true; all users may read them, whatever the umask is. Returns an empty
/// descriptor, with `errno` set, on failure; EPERM for a folder that is not trusted. Any thread.
Kvs::FileDescriptor openFolder(const std::string& path, Trust trust, bool make);

/// Opens a regular file for reading. Does not follow a symbolic link, nor wait for the writer of a FIFO.
/// Checks the folders like `openFolder`, and the file in the same way. Any thread.
Kvs::FileDescriptor openFile(const std::string& path, Trust trust);

/// Returns a path that means this open file as long as it is open.
std::string pathOf(const Kvs::FileDescriptor& file);

} // namespace kvn::host
