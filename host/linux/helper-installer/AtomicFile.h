// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/linux/helper-installer/TrustedFolder.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// A file that appears at its path completely or not at all: it is written under a temporary name in the same
/// folder, and removed unless `commit` succeeds. The file that it replaces can be put back until the end of
/// this object. Names the folder by its descriptor only, which a new folder at the same path does not change.
/// One thread.
class AtomicFile {
public:
    /// Makes the missing folders (see `openFolder`). Overwrites what an installer that was killed has left
    /// under the temporary name; fails with EWOULDBLOCK while another installer is writing there. Returns
    /// nullopt, with `errno` set, on failure.
    static std::optional<AtomicFile> create(const std::string& path, Trust trust);

    AtomicFile(AtomicFile&&) noexcept = default;
    AtomicFile& operator=(AtomicFile&&) = delete;
    ~AtomicFile();

    /// Returns the file to write to. Until `commit` only its owner may access it.
    const Kvs::FileDescriptor& file() const { return file_; }
    /// Returns the file that `commit` would replace; empty, with `errno` set, when there is none.
    Kvs::FileDescriptor replaced() const;

    /// Returns 0 once the file is at its path and on the disk, or an `errno` value. Closes `file`: a program
    /// that is open for writing cannot be started.
    int commit(mode_t mode);

    /// Undoes `commit`: puts the replaced file back, or removes the new one when there was none. Does nothing
    /// before `commit`.
    void restore();

private:
    AtomicFile(Kvs::FileDescriptor folder, std::string name);

    int openTemporary();
    bool keepReplaced();

    enum class State { Writing, Added, Replaced } state_ = State::Writing;
    Kvs::FileDescriptor folder_; // empty when moved from
    const std::string name_;
    const std::string temporaryName_;
    const std::string keptName_; // of the replaced file
    Kvs::FileDescriptor file_;
};

} // namespace kvn::host
