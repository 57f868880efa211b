// SPDX-License-Identifier: MIT

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

/// System-log modes of `CNSInitLog`; any other value changes nothing. Neither an open client nor suppression
/// can be undone. Lines go to the client if there is one, else to the console unless it is suppressed.
enum FSysLogMode : int {
    kSysLogSuppressed = -1,
    kSysLogConsole = 0,
    kSysLogClient = 1,
};

/// Sets up the process's logging. Called once, on the main thread, before other threads log. `facility` is
/// not copied: pass a constant. `userLogDir` is created when missing; null or a text of fewer than two
/// characters leaves the default log directory in force.
void CNSInitLog(unsigned int mode, int sysLogMode, const char* facility, const char* userLogDir);

/// Cleans the log directory, opens a new log file, makes it the current log book and returns it. If there is
/// something at its name that may be somebody else's, takes a second name, which ends with a random number.
/// Returns an empty handle on failure, which is reported on the console; the previous book then stays.
FRef<FLogBook> CNSUseNewLogBook();

/// Deletes the directory's .txt, .log and .zip files (in any case) that were last modified more than
/// `maxAgeMinutes` ago. Symbolic links are not followed. Cleans the parent too if the path ends with "/logs".
/// Leaves the rest to the next call when there are so many entries that it takes long.
void CNSCleanupLogDir(const char* dir, double maxAgeMinutes);

/// Logs one line like printf, cut to 4095 characters. The control characters of the arguments are escaped, so
/// that they cannot end the line; those of the format stay. Any thread.
void CNSLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Does what `CNSLog` does while debug logging is on, and nothing otherwise.
void CNSDbgLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Returns true while debug logging is on.
bool CNSDbgLogEnabled();

/// Writes a complete text to the system log or the console only; null is ignored.
void CNSSysLogMsg(const char* text);

/// Writes a formatted line of any length, whose values were escaped when they were inserted.
void OCLogV(const std::string& text);

/// Does what `CNSLog` does, without a length limit. The format is checked at compile time and may use "%@"
/// for any string, number, list or object with `description()`.
template <class... Args>
void OCNSLog(OCFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    OCLogV(format.text(args...));
}

/// Does what `OCNSLog` does while debug logging is on, and nothing otherwise.
template <class... Args>
void OCNSDbgLog(OCFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    if (CNSDbgLogEnabled()) {
        OCLogV(format.text(args...));
    }
}

} // namespace Kvs
