// SPDX-License-Identifier: MIT

#pragma once

#include "core/logging/FLogBook.h"
#include "core/logging/LogLimit.h"
#include "core/streams/FIOGFile.h"

#include <cstddef>
#include <string_view>

namespace Kvs {

/// Writes each record as one line to a file: UTC time, thread, and the items, each behind a tab. A new file
/// begins with a header; in an existing file, each run of the program begins with two line ends. Each line is
/// one write at the file's end, so that lines of several threads, and of several processes, never mix; it has
/// been handed to the system when `add` returns. If a full disk cut a line short, its line end is written
/// before the next line. Lines beyond the limit are left out and counted. Any thread.
class FLogBookFile : public FLogBook {
public:
    /// Only the low 8 bits of each unit of the path are used. Only the own user can open the file, because
    /// the log records the arguments of clients. Throws FException when the file cannot be opened, or is one
    /// that somebody else may have put there (see `kFileAppendOwn`).
    explicit FLogBookFile(const FGStr<wchar_t>& path, LogLimit limit = LogLimit());

    /// Returns true if the whole line was written, or was left out because of the limit.
    bool add(const FLogRecord& record) override;
    bool addText(std::string_view text) override;

    /// Adds two lines: the text of the base, and the single values behind "Set LastError:".
    void setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                      const char* text3) override;

private:
    bool put(std::string_view line);
    bool writeLine(std::string_view line) KVS_REQUIRES(lock_);
    bool writePending() KVS_REQUIRES(lock_);
    std::size_t write(std::string_view text) KVS_REQUIRES(lock_);

    FIOGFile file_ KVS_GUARDED_BY(lock_);
    LogLimit limit_ KVS_GUARDED_BY(lock_);
    std::string_view pending_ KVS_GUARDED_BY(lock_); // has to be written before the next line
};

} // namespace Kvs
