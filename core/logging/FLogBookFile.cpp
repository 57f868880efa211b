#include "core/logging/FLogBookFile.h"

#include "core/base/FException.h"
#include "core/logging/FLoggable.h"
#include "core/text/Widening.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace Kvs {

namespace {

constexpr std::string_view kHeader = "---- Alle Zeiten in UTC / all times are UTC ----\n";
constexpr std::string_view kRunSeparator = "\n\n";
constexpr std::string_view kLineEnd = "\n";

/// Appends the current time, YYYY-MM-DDTHH:MM:SS.mmm; each thread keeps the text of the last second.
void appendTime(std::string& line) {
    thread_local time_t second = -1;
    thread_local char text[32];
    thread_local std::size_t length = 0;
    timeval now{};
    gettimeofday(&now, nullptr);
    if (now.tv_sec != second) {
        second = now.tv_sec;
        std::tm fields{};
        gmtime_r(&second, &fields);
        length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &fields);
    }
    const int milliseconds = static_cast<int>(now.tv_usec / 1000);
    const char fraction[] = {'.', static_cast<char>('0' + milliseconds / 100),
                             static_cast<char>('0' + milliseconds / 10 % 10),
                             static_cast<char>('0' + milliseconds % 10)};
    line.append(text, length).append(fraction, sizeof fraction);
}

std::string lineOf(const FLogRecord& record) {
    std::string line;
    line.reserve(256);
    appendTime(line);
    line.append(" ").append(FLoggable::getLogThreadId()).append(":");
    for (const TFValueBase& item : record) {
        line += '\t';
        item.appendTo(line);
    }
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
    FLockGuard guard(lock_);
    owed_ = status.st_size < 1 ? kHeader : kRunSeparator;
    if (put(owed_)) {
        owed_ = {};
    }
}

bool FLogBookFile::add(const FLogRecord& record) {
    const std::string line = lineOf(record);
    FLockGuard guard(lock_);
    if (!owed_.empty()) {
        if (!put(owed_)) {
            return false;
        }
        owed_ = {};
    }
    return put(line);
}

bool FLogBookFile::put(std::string_view text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = ::write(file_.get(), rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    if (!rest.empty() && rest.size() < text.size()) {
        owed_ = kLineEnd; // the torn line ends where it is, and the next one starts afresh
    }
    return rest.empty();
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
