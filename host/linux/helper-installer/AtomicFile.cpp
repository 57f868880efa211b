// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/AtomicFile.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace fs = std::filesystem;
using Kvs::FileDescriptor;

AtomicFile::AtomicFile(FileDescriptor folder, std::string name)
    : folder_(std::move(folder)), name_(std::move(name)), temporaryName_("." + name_ + ".new"),
      keptName_("." + name_ + ".old") {}

/// Returns 0 or an `errno` value: EWOULDBLOCK while another installer writes the same file.
int AtomicFile::openTemporary() {
    constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    FileDescriptor file(::openat(folder_.get(), temporaryName_.c_str(), kFlags, 0600));
    struct stat own {
    }, named{};
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 || ::fstat(file.get(), &own) != 0) {
        return errno;
    }
    // The lock may be that of a file which another installer has moved to its place meanwhile.
    if (::fstatat(folder_.get(), temporaryName_.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 ||
        named.st_ino != own.st_ino) {
        return EWOULDBLOCK;
    }
    // An installer that was killed has left the file.
    if (::ftruncate(file.get(), 0) != 0 || ::fchmod(file.get(), 0600) != 0) {
        return errno;
    }
    file_ = std::move(file);
    return 0;
}

AtomicFile::~AtomicFile() {
    if (file_) {
        ::unlinkat(folder_.get(), temporaryName_.c_str(), 0);
    }
    if (folder_ && state_ == State::Replaced) {
        ::unlinkat(folder_.get(), keptName_.c_str(), 0);
    }
}

std::optional<AtomicFile> AtomicFile::create(const std::string& path, Trust trust) {
    const fs::path whole(path);
    FileDescriptor folder = openFolder(whole.parent_path(), trust, true);
    if (!folder) {
        return std::nullopt;
    }
    AtomicFile file(std::move(folder), whole.filename());
    if (const int error = file.openTemporary(); error != 0) {
        errno = error;
        return std::nullopt;
    }
    return file;
}

FileDescriptor AtomicFile::replaced() const {
    return FileDescriptor(
        ::openat(folder_.get(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/// Returns false, with `errno` set, when there is something in the place that is no file to keep.
bool AtomicFile::keepReplaced() {
    ::unlinkat(folder_.get(), keptName_.c_str(), 0); // left by an installer that was killed
    if (::linkat(folder_.get(), name_.c_str(), folder_.get(), keptName_.c_str(), 0) == 0) {
        state_ = State::Replaced;
        return true;
    }
    state_ = State::Added;
    return errno == ENOENT;
}

int AtomicFile::commit(mode_t mode) {
    const bool committed =
        ::fchmod(file_.get(), mode) == 0 && ::fsync(file_.get()) == 0 && keepReplaced() &&
        ::renameat(folder_.get(), temporaryName_.c_str(), folder_.get(), name_.c_str()) == 0;
    if (!committed) {
        const int error = errno;
        if (state_ == State::Replaced) {
            ::unlinkat(folder_.get(), keptName_.c_str(), 0);
        }
        state_ = State::Writing;
        return error;
    }
    file_.reset();
    return ::fsync(folder_.get()) == 0 ? 0 : errno;
}

void AtomicFile::restore() {
    const State former = std::exchange(state_, State::Writing);
    if (former == State::Replaced) {
        ::renameat(folder_.get(), keptName_.c_str(), folder_.get(), name_.c_str());
    } else if (former == State::Added) {
        ::unlinkat(folder_.get(), name_.c_str(), 0);
    }
    if (former != State::Writing) {
        ::fsync(folder_.get());
    }
}

} // namespace kvn::host
