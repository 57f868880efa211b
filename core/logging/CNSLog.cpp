// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"

#include "core/base/Errors.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/logging/LineFormat.h"
#include "core/logging/LogLimit.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "core/text/ControlCharacters.h"
#include "core/threads/FThreadLock.h"
#include "core/time/FTime.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <poll.h>
#include <random>
#include <string>
#include <string_view>
#include <unistd.h>

namespace Kvs {

namespace {

constexpr double kMaxLogAgeMinutes = 720;

std::atomic<const char*> theFacility{""};
std::atomic<bool> debugLogging{false};
std::atomic<bool> sysLogClientIsOpen{false};
std::atomic<bool> sysLogSuppressed{false};

/// Writes the text to standard error, as far as that takes it without waiting: a terminal may be stopped, and
/// the reader of a pipe may not read. Returns true if the whole text was written.
bool writeAtOnce(std::string_view text) {
    while (!text.empty()) {
        pollfd console{STDERR_FILENO, POLLOUT, 0};
        if (::poll(&console, 1, 0) == 0) {
            return false;
        }
        // A pipe that can be written takes at least so much without waiting.
        const ssize_t written =
            ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return false; // the failure cannot be reported anywhere
        }
    }
    return true;
}

/// What takes the lines that no log book takes: the system log or the console.
class SystemLog {
public:
    /// Writes UTC time, facility, process and the text as one line to standard error.
    void writeToConsole(std::string_view text) {
        FLockGuard guard(lock_);
        writeConsoleLine(text);
    }

    void write(std::string_view text) {
        constexpr std::size_t kPrefix = 64; // roughly the size of what a line begins with
        FLockGuard guard(lock_);
        std::string notice;
        const bool admitted = limit_.admits(text.size() + kPrefix, notice);
        if (!notice.empty()) {
            writeLine(notice);
        }
        if (admitted) {
            writeLine(text);
        }
    }

private:
    void writeLine(std::string_view text) KVS_REQUIRES(lock_) {
        if (sysLogClientIsOpen) {
            writeToSystemLog(std::string(text));
        } else if (!sysLogSuppressed) {
            writeConsoleLine(text);
        }
    }

    void writeConsoleLine(std::string_view text) KVS_REQUIRES(lock_) {
        copyConsoleToSystemLog(std::string(text));
        std::string line = lineIsOpen_ ? "\n" : "";
        line += FTime(true).toCStringEx().token();
        line.append(" ").append(theFacility.load()).append("[").append(process_).append("] ");
        line.append(text).append("\n");
        lineIsOpen_ = !writeAtOnce(line);
    }

    const std::string process_ = std::to_string(getpid());
    FThreadLock lock_;
    LogLimit limit_ KVS_GUARDED_BY(lock_);
    bool lineIsOpen_ KVS_GUARDED_BY(lock_) = false; // the last line may have been cut short
};

SystemLog& systemLog() {
    static SystemLog* const instance = new SystemLog; // never destroyed: threads may log during exit
    return *instance;
}

void logText(std::string_view text) {
    if (!FTransferLog::log(text)) {
        systemLog().write(text);
    }
}

/// Returns "_" and 16 hexadecimal digits.
std::string randomEnding() {
    std::random_device device;
    char text[32];
    std::snprintf(text, sizeof text, "_%08x%08x", device(), device());
    return text;
}

} // namespace

void CNSInitLog(unsigned int mode, int sysLogMode, const char* facility, const char* userLogDir) {
    const bool traced = isBeingTraced();
    theFacility = facility ? facility : "";
    if ((mode & kLogModeDebugOn) != 0 || traced) {
        debugLogging = true;
    } else if ((mode & kLogModeDebugOff) != 0) {
        debugLogging = false;
    }
    const std::string_view directory = userLogDir ? userLogDir : "";
    if (directory.size() >= 2) {
        try {
            FSysInfoPaths::setUserLogDirW(fWiden(directory));
        } catch (const FException&) {
            systemLog().writeToConsole("Failed to set user log dir: " + fControlCharactersEscaped(directory));
        }
    }
    if ((mode & kLogModeNewLogBook) != 0) {
        CNSUseNewLogBook();
    }
    if (sysLogMode == kSysLogClient) {
        openSystemLog(theFacility, traced);
        sysLogClientIsOpen = true;
    } else if (sysLogMode == kSysLogSuppressed) {
        sysLogSuppressed = true;
    }
}

FRef<FLogBook> CNSUseNewLogBook() {
    CNSCleanupLogDir(fNarrow(FSysInfoPaths::getUserLogDirW()).c_str(), kMaxLogAgeMinutes);
    const FGStr<wchar_t> prefix = fWiden(std::string(theFacility.load()) + "_");
    // In a folder that everybody can write, somebody may have taken the usual name. Nobody can guess the
    // other one.
    for (const std::string& extension : {std::string(".txt"), randomEnding() + ".txt"}) {
        const auto name = FSysInfoPaths::getNewLogFileNameW(prefix.c_str(), fWiden(extension).c_str());
        try {
            FRef<FLogBook> book(new FLogBookFile(name));
            FTransferLog::useLogBook(book);
            return book;
        } catch (const FException&) {
            continue;
        }
    }
    systemLog().writeToConsole("Failed to create LogBookFile.");
    return {};
}

void CNSLog(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const LineFormat line(format, args);
    va_end(args);
    logText(line.text());
}

void CNSDbgLog(const char* format, ...) {
    if (!CNSDbgLogEnabled()) {
        return;
    }
    va_list args;
    va_start(args, format);
    const LineFormat line(format, args);
    va_end(args);
    logText(line.text());
}

bool CNSDbgLogEnabled() { return debugLogging; }

void CNSSysLogMsg(const char* text) {
    if (text) {
        systemLog().write(text);
    }
}

void OCLogV(const std::string& text) { logText(text); }

} // namespace Kvs
