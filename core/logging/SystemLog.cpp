#include "core/logging/SystemLog.h"

#include "core/time/FTime.h"

#include <cerrno>
#include <string>
#include <syslog.h>
#include <unistd.h>

namespace Kvs {

void openSystemLog(const char* facility, bool alsoConsole) {
    openlog(facility, alsoConsole ? LOG_PERROR : 0, LOG_USER);
}

void writeSystemLog(std::string_view text) {
    syslog(LOG_NOTICE, "%.*s", static_cast<int>(text.size()), text.data());
}

void writeConsole(std::string_view facility, std::string_view text) {
    std::string line = FTime(true).toCStringEx().str();
    line.append(" ").append(facility).append("[").append(std::to_string(getpid())).append("] ");
    line.append(text).append("\n");
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return; // there is no place left to tell
        }
    }
}

} // namespace Kvs
