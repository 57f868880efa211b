// SPDX-License-Identifier: MIT

#include "core/logging/FLogBookFile.h"

#include "core/base/Errors.h"
#include "core/logging/FLoggable.h"

#include <cstdio>
#include <ctime>
#include <sys/time.h>

namespace Kvs {

namespace {

constexpr std::string_view kHeader = "---- Alle Zeiten in UTC / all times are UTC ----\n";
constexpr std::string_view kRunSeparator = "\n\n";
constexpr std::string_view kLineEnd = "\n";

/// Returns "YYYY-MM-DDTHH:MM:SS.mmm Thread[...]:" for now and the calling thread. Each thread keeps its text
/// and renews only the part that has changed. The result is valid until the thread's next call.
std::string_view linePrefix() {
    thread_local char text[128];
    thread_local std::size_t length = 0;
    thread_local time_t second = -1;
    constexpr std::size_t kMilliseconds = std::string_view("YYYY-MM-DDTHH:MM:SS.").size();

    timeval now{};
    gettimeofday(&now, nullptr);
    if (now.tv_sec != second) {
        second = now.tv_sec;
        std::tm fields{};
        gmtime_r(&second, &fields);
        const std::size_t date = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &fields);
        const std::string_view thread = FLoggable::getLogThreadId();
        length = date + static_cast<std::size_t>(std::snprintf(text + date, sizeof text - date,
                                                               "mmm %.*s:", static_cast<int>(thread.size()),
                                                               thread.data()));
    }
    const int milliseconds = static_cast<int>(now.tv_usec / 1000);
    text[kMilliseconds] = static_cast<char>('0' + milliseconds / 100);
    text[kMilliseconds + 1] = static_cast<char>('0' + milliseconds / 10 % 10);
    text[kMilliseconds + 2] = static_cast<char>('0' + milliseconds % 10);
    return {text, length};
}

/// Makes the line whose items `appendItems` adds, each behind a tab.
template <class AppendItems>
std::string makeLine(AppendItems appendItems) {
    std::string line;
    line.reserve(256);
    line += linePrefix();
    appendItems(line);
    line += kLineEnd;
    return line;
}

std::string makeTextLine(std::string_view text) {
    return makeLine([&](std::string& line) { line.append("\t").append(text); });
}

} // namespace

FLogBookFile::FLogBookFile(const FGStr<wchar_t>& path, LogLimit limit) : limit_(std::move(limit)) {
    if (file_.open(fNarrow(path).c_str(), kFileAppendOwn) != kSuccess) {
        throw FException("Report file could not be opened", "FLogBookFile()");
    }
    // Each write gets a whole line. A buffer would split long lines into several writes, and would keep what
    // a full disk refused for a later write.
    file_.setUnbuffered();
    pending_ = file_.Size() < 1 ? kHeader : kRunSeparator;
    writePending();
}

bool FLogBookFile::add(const FLogRecord& record) {
    return put(makeLine([&](std::string& line) {
        for (const TFValueBase& item : record) {
            line += '\t';
            item.appendTo(line);
        }
    }));
}

bool FLogBookFile::addText(std::string_view text) { return put(makeTextLine(text)); }

bool FLogBookFile::put(std::string_view line) {
    // Held during the write: if the line is cut short, its end must be pending before another thread writes.
    FLockGuard guard(lock_);
    std::string notice;
    const bool admitted = limit_.admits(line.size(), notice);
    if (!notice.empty()) {
        writeLine(makeTextLine(notice));
    }
    return !admitted || writeLine(line);
}

bool FLogBookFile::writeLine(std::string_view line) {
    if (!writePending()) {
        return false;
    }
    const std::size_t written = write(line);
    if (written > 0 && written < line.size()) {
        pending_ = kLineEnd;
    }
    return written == line.size();
}

/// Writes the pending text, as far as the disk takes it. Returns true if nothing is pending any more.
bool FLogBookFile::writePending() {
    if (!pending_.empty()) {
        pending_.remove_prefix(write(pending_));
    }
    return pending_.empty();
}

/// Writes the text and returns how many bytes were written.
std::size_t FLogBookFile::write(std::string_view text) {
    std::int64_t written = 0;
    file_.write(text.data(), static_cast<std::int64_t>(text.size()), written);
    return static_cast<std::size_t>(written);
}

void FLogBookFile::setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                                const char* text3) {
    FLogBook::setLastError(code, text1, text2, result, text3);
    constexpr std::uint32_t kMarker = 0xFFFFFFFF;
    FLogRecord record;
    record << "Set LastError:" << kMarker << code << text1 << text2 << result << text3;
    add(record);
}

} // namespace Kvs
