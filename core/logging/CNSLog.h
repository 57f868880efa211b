#pragma once

#include "core/base/FRef.h"
#include "core/logging/OCFormat.h"

#include <string>
#include <type_traits>

namespace Kvs {

class FLogBook;

/// Mode bits of `CNSInitLog`.
enum FLogMode : unsigned int {
    kLogModeDebugOff = 0x1,
    kLogModeDebugOn = 0x2,
    kLogModeNewLogBook = 0x100,
};

/// System-log modes of `CNSInitLog`; any other value changes nothing. A client, once opened, is used from
/// then on; without one lines go to the console, unless that was suppressed once.
enum FSysLogMode : int {
    kSysLogSuppressed = -1,
    kSysLogConsole = 0,
    kSysLogClient = 1,
};

/// Sets the process's logging up, once, on the main thread before others log. `facility` is not
/// copied: pass a constant. `userLogDir` is created when missing; null or a shorter text than two
/// characters leaves the default log directory in force.
void CNSInitLog(unsigned int mode, int sysLogMode, const char* facility, const char* userLogDir);

/// Cleans the log directory, opens a new log file and makes it the current log book. Empty on failure,
/// which is told on the console; logging then goes on without a file.
FRef<FLogBook> CNSUseNewLogBook();

/// Deletes the directory's .txt, .log and .zip files (in any case) that were last modified more than
/// `maxAgeMinutes` ago; a directory that ends with "/logs" has its parent cleaned too.
void CNSCleanupLogDir(const char* dir, double maxAgeMinutes);

/// printf-style logging of at most 4095 characters a line. Any thread.
void CNSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// As `CNSLog`, only while debug logging is on.
void CNSDbgLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Whether debug logging is on.
bool CNSDbgLogEnabled();

/// Writes to the system log or the console only; null is ignored.
void CNSSysLogMsg(const char* text);

/// Writes a formatted line of any length.
void OCLogV(const std::string& text);

/// As `CNSLog` without a length limit; the format, checked at compile time, may use "%@" for any
/// string, number, list or object with `description()`.
template <class... Args>
void OCNSLog(OCFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    OCLogV(format.text(args...));
}

/// As `OCNSLog`, only while debug logging is on.
template <class... Args>
void OCNSDbgLog(OCFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    if (CNSDbgLogEnabled()) {
        OCLogV(format.text(args...));
    }
}

} // namespace Kvs
