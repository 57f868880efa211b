// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"

#include "core/base/Errors.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/logging/LineFormat.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "core/time/FTime.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
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

/// Writes UTC time, facility, process and the text as one line to standard error.
void writeToConsole(const std::string& text) {
    copyConsoleToSystemLog(text);
    std::string line = FTime(true).toCStringEx().str();
    line.append(" ").append(theFacility.load()).append("[").append(std::to_string(getpid())).append("] ");
    line.append(text).append("\n");
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return; // the failure cannot be reported anywhere
        }
    }
}

void logToSystem(const std::string& text) {
    if (sysLogClientIsOpen) {
        writeToSystemLog(text);
    } else if (!sysLogSuppressed) {
        writeToConsole(text);
    }
}

void logText(std::string_view text) {
    if (!FTransferLog::log(text)) {
        logToSystem(std::string(text));
    }
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
            writeToConsole("Failed to set user log dir: " + std::string(directory));
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
    try {
        FRef<FLogBook> book(new FLogBookFile(FSysInfoPaths::getNewLogFileNameW(prefix.c_str(), L".txt")));
        FTransferLog::useLogBook(book);
        return book;
    } catch (const FException&) {
        writeToConsole("Failed to create LogBookFile.");
        return {};
    }
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
        logToSystem(text);
    }
}

void OCLogV(const std::string& text) { logText(text); }

} // namespace Kvs
