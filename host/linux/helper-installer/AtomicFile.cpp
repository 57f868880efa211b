// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace fs = std::filesystem;
using Kvs::FileDescriptor;

namespace {

/// Returns 0 or an `errno` value. The mode does not depend on the umask.
int makeFolder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), 0755) != 0) {
        return errno == EEXIST ? 0 : errno;
    }
    return ::chmod(folder.c_str(), 0755) == 0 ? 0 : errno;
}

int makeFolders(const fs::path& folder) {
    int error = makeFolder(folder);
    if (error == ENOENT && folder.has_relative_path()) {
        error = makeFolders(folder.parent_path());
        error = error != 0 ? error : makeFolder(folder);
    }
    return error;
}

} // namespace

AtomicFile::AtomicFile(std::string path, std::string temporaryPath, FileDescriptor file)
    : path_(std::move(path)), temporaryPath_(std::move(temporaryPath)), file_(std::move(file)) {}

AtomicFile::~AtomicFile() {
    if (file_) {
        ::unlink(temporaryPath_.c_str());
    }
}

std::optional<AtomicFile> AtomicFile::create(const std::string& path) {
    const fs::path whole(path);
    if (const int error = makeFolders(whole.parent_path()); error != 0) {
        errno = error;
        return std::nullopt;
    }
    std::string temporary = whole.parent_path() / ("." + whole.filename().string() + ".XXXXXX");
    FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    return file ? std::optional(AtomicFile(path, temporary, std::move(file))) : std::nullopt;
}

int AtomicFile::commit(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0 || ::fsync(file_.get()) != 0 ||
        ::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        return errno;
    }
    file_.reset();
    const fs::path folder = fs::path(path_).parent_path();
    const FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && ::fsync(directory.get()) == 0 ? 0 : errno;
}

} // namespace kvn::host
