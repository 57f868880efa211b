// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// A file that appears at its path completely or not at all: it is written under a temporary name in the same
/// folder, and removed unless `commit` succeeds. One thread.
class AtomicFile {
public:
    /// Makes the missing folders, which all users may read. Returns nullopt, with `errno` set, on failure.
    static std::optional<AtomicFile> create(const std::string& path);

    AtomicFile(AtomicFile&&) noexcept = default;
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    /// Returns the descriptor to write to. Until `commit` only its owner may access the file.
    int descriptor() const { return file_.get(); }
    const std::string& temporaryPath() const { return temporaryPath_; }

    /// Returns 0 once the file is at its path and on the disk, or an `errno` value.
    int commit(mode_t mode);

private:
    AtomicFile(std::string path, std::string temporaryPath, Kvs::FileDescriptor file);

    std::string path_;
    std::string temporaryPath_;
    Kvs::FileDescriptor file_; // closed by `commit`
};

} // namespace kvn::host
