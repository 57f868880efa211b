#pragma once

#include <string_view>

/// Where lines go that no log book takes. Any thread.
namespace Kvs {

/// Connects to the system log under that name, which is not copied; `alsoConsole` copies its lines to
/// standard error.
void openSystemLog(const char* facility, bool alsoConsole);
void writeSystemLog(std::string_view text);

/// Writes UTC time, facility, process and the text as one line to standard error.
void writeConsole(std::string_view facility, std::string_view text);

} // namespace Kvs
