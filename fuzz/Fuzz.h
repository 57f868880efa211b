// SPDX-License-Identifier: MIT

#pragma once

#include "core/logging/CNSLog.h"
#include "core/system/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace kvn::fuzz {

/// Ends the run as a finding if the condition does not hold.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "fuzzer: %s\n", what);
        std::abort();
    }
}

/// Drops what the product logs, which would fill the disk.
inline void logNothing() {
    static const bool done =
        (Kvs::CNSInitLog(Kvs::kLogModeDebugOff, Kvs::kSysLogSuppressed, "fuzzer", nullptr), true);
    static_cast<void>(done);
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Writes the bytes to a file and returns its path. All runs use the same file: set TMPDIR to a file system
/// in memory.
inline const std::string& fileOf(const std::uint8_t* data, std::size_t size) {
    static const kvn::test::TemporaryFolder folder;
    static const std::string path = folder.file("input");
    static const Kvs::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    require(::ftruncate(file.get(), static_cast<off_t>(size)) == 0 &&
                ::pwrite(file.get(), data, size, 0) == static_cast<ssize_t>(size),
            "the file cannot be written");
    return path;
}

} // namespace kvn::fuzz
