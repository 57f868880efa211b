#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "host/linux/helper-installer/HelperInstallation.h"
#include "host/linux/helper-installer/LinePipe.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// Installs helpers for an agent that may not: the agent starts it with the user's authorization, as root.
// It does what it is told over its standard input (LinePipe.h), and trusts nothing of it.

namespace {

using namespace kvn::host;

/// Whom this program works for: the user that pkexec asked, else the one who started it.
uid_t callingUser() {
    uid_t user = ::getuid();
    if (const char* text = std::getenv("PKEXEC_UID"); text && user == 0) {
        const char* end = text + std::strlen(text);
        uid_t caller = 0;
        if (std::from_chars(text, end, caller).ptr != end || text == end) {
            return user;
        }
        user = caller;
    }
    return user;
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text.substr(0, LinePipe::kMaxLine);
}

/// Whether the caller's end was understood to the last line.
bool serve(LinePipe& agent, const HelperInstallation& installation, uid_t caller) {
    for (auto command = agent.read(); command; command = agent.read()) {
        const auto source = *command == "bless" ? agent.read() : std::nullopt;
        const auto label = source ? agent.read() : std::nullopt;
        if (!label) {
            return false;
        }
        const auto error = installation.bless(*source, *label, caller);
        const int failed =
            error ? agent.write({"error", error->domain, std::to_string(error->code), oneLine(error->reason)})
                  : agent.write({"ok"});
        if (failed != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const bool rooted = argc == 3 && std::strcmp(argv[1], "--root") == 0 && argv[2][0] == '/';
    if (argc != 1 && !rooted) {
        std::fprintf(stderr, "usage: KvnHelperInstaller [--root DIR]\n");
        return 2;
    }
    Kvs::FSysInfoPaths::setRoot(rooted ? argv[2] : "");

    // The helper starts with what the system's own jobs have, not with what the caller had.
    const uid_t caller = callingUser();
    clearenv();
    setenv("PATH", "/usr/bin:/bin:/usr/sbin:/sbin", 1);
    umask(022);
    std::signal(SIGPIPE, SIG_IGN);
    LinePipe agent(Kvs::FileDescriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)),
                   Kvs::FileDescriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)));
    dup2(STDERR_FILENO, STDOUT_FILENO); // the answers' pipe is not the helper's
    try {
        PollMainLoop mainLoop;
        PosixProcessRunner runner(mainLoop);
        const XmlPropertyList propertyLists;
        const HelperInstallation installation(runner, propertyLists);
        return agent.write({"ready"}) == 0 && serve(agent, installation, caller) ? 0 : 1;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "KvnHelperInstaller: %s\n", exception.what());
        return 1;
    }
}
