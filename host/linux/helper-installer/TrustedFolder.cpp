// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/TrustedFolder.h"

#include "core/system/FSysInfoPaths.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace kvn::host {

namespace fs = std::filesystem;
using Kvs::FileDescriptor;

namespace {

/// Returns 0 or an `errno` value.
int checkOwner(const FileDescriptor& file, Trust trust, mode_t type) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return errno;
    }
    if ((status.st_mode & S_IFMT) != type) {
        return EINVAL;
    }
    const bool othersMayWrite = status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    return trust == Trust::RootOnly && othersMayWrite ? EPERM : 0;
}

FileDescriptor checked(FileDescriptor file, Trust trust, mode_t type) {
    if (const int error = file ? checkOwner(file, trust, type) : errno; error != 0) {
        file.reset();
        errno = error;
    }
    return file;
}

/// Opens the folder of this name in another one, which is trusted.
FileDescriptor openNext(const FileDescriptor& parent, const char* name, int flags, Trust trust, bool make) {
    const int noLink = trust == Trust::RootOnly ? O_NOFOLLOW : 0;
    const auto open = [&] {
        return FileDescriptor(::openat(parent.get(), name, flags | noLink | O_DIRECTORY | O_CLOEXEC));
    };
    FileDescriptor folder = open();
    if (!folder && errno == ENOENT && make && (::mkdirat(parent.get(), name, 0755) == 0 || errno == EEXIST) &&
        ::fchmodat(parent.get(), name, 0755, 0) == 0) { // the umask may have cut the mode
        folder = open();
    }
    return checked(std::move(folder), trust, S_IFDIR);
}

} // namespace

Trust trustOfThisProcess() {
    return Kvs::FSysInfoPaths::underRoot("").empty() ? Trust::RootOnly : Trust::Own;
}

FileDescriptor openFolder(const std::string& path, Trust trust, bool make) {
    const fs::path relative = fs::path(path).relative_path();
    FileDescriptor folder =
        checked(FileDescriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)), trust, S_IFDIR);
    for (auto name = relative.begin(); folder && name != relative.end();) {
        const fs::path current = *name++;
        const int flags =
            name == relative.end() ? O_RDONLY : O_PATH; // on the way, the right to search is enough
        folder = openNext(folder, current.c_str(), flags, trust, make);
    }
    return folder;
}

FileDescriptor openFile(const std::string& path, Trust trust) {
    const fs::path whole(path);
    const FileDescriptor folder = openFolder(whole.parent_path(), trust, false);
    if (!folder) {
        return {};
    }
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    return checked(FileDescriptor(::openat(folder.get(), whole.filename().c_str(), kFlags)), trust, S_IFREG);
}

std::string pathOf(const FileDescriptor& file) { return "/proc/self/fd/" + std::to_string(file.get()); }

} // namespace kvn::host
