#pragma once

#include "core/system/FileDescriptor.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// A file that appears at its path whole or not at all: it is written under another name in the same
/// folder, and that one is removed unless it is committed. One thread.
class AtomicFile {
public:
    /// Makes the folders that are missing, open to all for reading. Nothing, with `errno` set, on failure.
    static std::optional<AtomicFile> create(const std::string& path);

    AtomicFile(AtomicFile&&) noexcept = default;
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    /// Until `commit` only its owner may access the file.
    int descriptor() const { return file_.get(); }
    const std::string& temporaryPath() const { return temporaryPath_; }

    /// 0 once the file is in its place and on the disk, else an `errno` value.
    int commit(mode_t mode);

private:
    AtomicFile(std::string path, std::string temporaryPath, Kvs::FileDescriptor file);

    std::string path_;
    std::string temporaryPath_;
    Kvs::FileDescriptor file_; // none any more once it is closed
};

} // namespace kvn::host
