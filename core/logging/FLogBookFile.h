#pragma once

#include "core/logging/FLogBook.h"
#include "core/streams/FIOGFile.h"

#include <cstddef>
#include <string_view>

namespace Kvs {

/// Writes each record as one line to a file: UTC time, thread, and the items, each behind a tab. A new
/// file begins with a header, a run in an existing one with a blank line. Each line is one write at the
/// file's end, so that lines of several threads, and of several processes, never mix; the system has it
/// when `add` returns. A line that a full disk has torn is ended before the next one. Any thread.
class FLogBookFile : public FLogBook {
public:
    /// Only the low 8 bits of each unit of the path are used. Throws FException when the file cannot be
    /// opened.
    explicit FLogBookFile(const FGStr<wchar_t>& path);

    /// Returns true if the whole line was written.
    bool add(const FLogRecord& record) override;
    bool addText(std::string_view text) override;

    /// Adds two lines: the text of the base, and the single values behind "Set LastError:".
    void setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                      const char* text3) override;

private:
    bool put(std::string_view line);
    bool settle() KVS_REQUIRES(lock_);
    std::size_t write(std::string_view text) KVS_REQUIRES(lock_);

    FIOGFile file_ KVS_GUARDED_BY(lock_);
    std::string_view owed_ KVS_GUARDED_BY(lock_); // has to be written before the next line
};

} // namespace Kvs
