#pragma once

#include "core/logging/FLogBook.h"
#include "core/system/FileDescriptor.h"

#include <atomic>
#include <string_view>

namespace Kvs {

/// Writes each record as one line to a file: UTC time, thread, and the items, each behind a tab. A new
/// file begins with a header, a run in an existing one with a blank line. Lines of several threads
/// never mix, since each is one write at the file's end; it is with the system when `add` returns. Any
/// thread.
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
    /// What has to be written before the next line.
    enum class Owed { Nothing, Header, RunSeparator, LineEnd };

    bool put(std::string_view line);
    bool settle();

    FileDescriptor file_;
    std::atomic<Owed> owed_;
};

} // namespace Kvs
