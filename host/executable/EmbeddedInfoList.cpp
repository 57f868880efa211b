// SPDX-License-Identifier: MIT

#include "host/executable/EmbeddedInfoList.h"

#include "core/system/FileDescriptor.h"
#include "host/PropertyList.h"
#include "host/executable/ExecutableFormats.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace kvn::host {
namespace {

std::variant<FileWindow, Error> findInfoList(const FileWindow& file) {
    const auto magic = file.readAt(0, 4);
    if (magic && isMachO(*magic)) {
        return findMachOInfoList(file);
    }
    if (magic && isElf(*magic)) {
        return findElfInfoList(file);
    }
    return executableError(kNotAnExecutable, "neither Mach-O nor ELF");
}

} // namespace

std::variant<std::string, Error> readEmbeddedInfoList(const std::string& path) {
    // The path may name another kind of file: a FIFO must not block this call, and a terminal must not become
    // the controlling terminal.
    const Kvs::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        return posixError(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return executableError(kNotAnExecutable, "not a regular file");
    }
    const auto found = findInfoList(FileWindow(file.get(), static_cast<std::uint64_t>(status.st_size)));
    if (const auto* error = std::get_if<Error>(&found)) {
        return *error;
    }
    const auto& list = std::get<FileWindow>(found);
    if (list.size() == 0 || list.size() > PropertyList::kMaxBytes) {
        return executableError(kBrokenExecutable, "the list is empty or too large");
    }
    auto bytes = list.readAt(0, list.size());
    if (!bytes) {
        return executableError(kBrokenExecutable, "the list cannot be read");
    }
    return std::move(*bytes);
}

} // namespace kvn::host
