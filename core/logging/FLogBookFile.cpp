#include "core/logging/FLogBookFile.h"

#include "core/base/FException.h"
#include "core/logging/FLoggable.h"
#include "core/text/Widening.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace Kvs {

namespace {

constexpr std::string_view kHeader = "---- Alle Zeiten in UTC / all times are UTC ----\n";
constexpr std::string_view kRunSeparator = "\n\n";
constexpr std::string_view kLineEnd = "\n";

/// "YYYY-MM-DDTHH:MM:SS.mmm Thread[...]:" for now and the calling thread, which keeps the text and renews
/// what has changed of it; valid until the thread's next call.
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

/// The line whose items `appendItems` adds, each behind a tab.
template <class AppendItems>
std::string makeLine(AppendItems appendItems) {
    std::string line;
    line.reserve(256);
    line += linePrefix();
    appendItems(line);
    line += kLineEnd;
    return line;
}

} // namespace

FLogBookFile::FLogBookFile(const FGStr<wchar_t>& path)
    : file_(::open(fNarrow(path).c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666)) {
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) {
        throw FException("Report file could not be opened", "FLogBookFile()");
    }
    owe(status.st_size < 1 ? kHeader : kRunSeparator);
    settle();
}

bool FLogBookFile::add(const FLogRecord& record) {
    return put(makeLine([&](std::string& line) {
        for (const TFValueBase& item : record) {
            line += '\t';
            item.appendTo(line);
        }
    }));
}

bool FLogBookFile::addText(std::string_view text) {
    return put(makeLine([&](std::string& line) { line.append("\t").append(text); }));
}

bool FLogBookFile::put(std::string_view line) {
    if (owes_ && !settle()) {
        return false;
    }
    const ssize_t written = writeOnce(line);
    if (written > 0 && static_cast<std::size_t>(written) < line.size()) {
        owe(kLineEnd); // the torn line ends where it is, and the next one starts afresh
    }
    return written == static_cast<ssize_t>(line.size());
}

/// Writes what is owed, or as much of it as there is room for. Whether nothing is owed any more.
bool FLogBookFile::settle() {
    FLockGuard guard(lock_);
    while (!owed_.empty()) {
        const ssize_t written = writeOnce(owed_);
        if (written <= 0) {
            return false;
        }
        owed_.remove_prefix(static_cast<std::size_t>(written));
    }
    owes_ = false;
    return true;
}

void FLogBookFile::owe(std::string_view text) {
    FLockGuard guard(lock_);
    owed_ = text;
    owes_ = true;
}

/// One write, repeated only when a signal interrupted it.
ssize_t FLogBookFile::writeOnce(std::string_view text) const {
    ssize_t written = 0;
    do {
        written = ::write(file_.get(), text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    return written;
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
