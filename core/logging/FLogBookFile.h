#pragma once

#include "core/logging/FLogBook.h"
#include "core/system/FileDescriptor.h"
#include "core/threads/FThreadLock.h"

#include <atomic>
#include <string_view>
#include <sys/types.h>

namespace Kvs {

/// Writes each record as one line to a file: UTC time, thread, and the items, each behind a tab. A new
/// file begins with a header, a run in an existing one with a blank line. Lines of several threads
/// never mix, since each is one write at the file's end; it is with the system when `add` returns. Only
/// behind a line that a full disk has torn, another thread's line may follow in its place when room
/// appears at that moment; the line end that the torn one lacks then comes after it. Any thread.
class FLogBookFile : public FLogBook {
public:
    /// Of each unit of the path the low 8 bits count. Throws FException when the file cannot be opened.
    explicit FLogBookFile(const FGStr<wchar_t>& path);

    /// Whether the whole line was written.
    bool add(const FLogRecord& record) override;
    bool addText(std::string_view text) override;

    /// Adds two lines: the text of the base, and the single values behind "Set LastError:".
    void setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                      const char* text3) override;

private:
    bool put(std::string_view line);
    bool settle();
    void owe(std::string_view text);
    ssize_t writeOnce(std::string_view text) const;

    FileDescriptor file_;
    FThreadLock lock_;
    std::string_view owed_ KVS_GUARDED_BY(lock_); // has to be written before the next line
    std::atomic<bool> owes_ = false;              // spares the lock of lines that owe nothing
};

} // namespace Kvs
