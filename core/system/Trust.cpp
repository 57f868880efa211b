// SPDX-License-Identifier: MIT

#include "core/system/Trust.h"

#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kvs {
namespace {

/// Returns true if only root, or the user of the root folder that replaces "/", can change the file.
bool isProtected(const struct stat& status) {
    const bool ownRoot = !FSysInfoPaths::underRoot("").empty();
    return (status.st_uid == 0 || (ownRoot && status.st_uid == ::geteuid())) &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

bool fIsTrustedUser(uid_t user) { return user == 0 || user == ::geteuid(); }

int fCheckPeer(int socket) {
    const auto peer = peerCredentialsOf(socket);
    if (!peer) {
        return errno;
    }
    return fIsTrustedUser(peer->user) ? 0 : EACCES;
}

FileDescriptor fOpenTrustedFile(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const bool hasFolder = slash != path.npos;
    const std::string folderPath = hasFolder ? path.substr(0, std::max<std::size_t>(slash, 1)) : ".";
    const std::string name = hasFolder ? path.substr(slash + 1) : path;

    // The file is opened in the folder that was checked, which may be renamed meanwhile.
    const FileDescriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) {
        return {};
    }
    FileDescriptor file(::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        return {};
    }
    struct stat folderStatus {
    }, fileStatus{};
    if (::fstat(folder.get(), &folderStatus) != 0 || ::fstat(file.get(), &fileStatus) != 0 ||
        !S_ISREG(fileStatus.st_mode) || !isProtected(folderStatus) || !isProtected(fileStatus)) {
        file.reset();
        errno = EPERM;
    }
    return file;
}

} // namespace Kvs
