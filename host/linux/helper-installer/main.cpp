// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/system/ProgramOptions.h"
#include "host/linux/helper-installer/HelperInstallation.h"
#include "host/linux/helper-installer/LinePipe.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// Installs helpers for an agent that does not have the right. The agent starts this program as root, with the
// user's authorization, and sends commands over its standard input (LinePipe.h), none of which is trusted.

namespace {

using namespace kvn::host;

constexpr char kUsage[] = "usage: KvnHelperInstaller [--root DIR]\n"
                          "\n"
                          "  --root DIR   a folder used in place of / in every fixed path\n";

/// Returns the user that pkexec asked; without pkexec, the user that started this program.
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

/// Carries out commands until the end of the input. Returns false if one was malformed.
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

/// Returns the root folder, an absolute path; an empty one for the real file system. Throws
/// std::invalid_argument for another path.
std::string rootIn(const Kvs::ProgramOptions& options) {
    const auto root = options.value("--root");
    if (root && !root->starts_with('/')) {
        throw std::invalid_argument("--root needs an absolute path");
    }
    return root.value_or("");
}

int run(const Kvs::ProgramOptions& options) {
    Kvs::FSysInfoPaths::setRoot(rootIn(options));

    // The helper must get the environment of the system's jobs, not the caller's.
    const uid_t caller = callingUser();
    clearenv();
    setenv("PATH", "/usr/bin:/bin:/usr/sbin:/sbin", 1);
    umask(022);
    std::signal(SIGPIPE, SIG_IGN);
    LinePipe agent(Kvs::FileDescriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)),
                   Kvs::FileDescriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)));
    dup2(STDERR_FILENO, STDOUT_FILENO); // the helper must not write into the pipe of answers
    PollMainLoop mainLoop;
    PosixProcessRunner runner(mainLoop);
    const XmlPropertyList propertyLists;
    const HelperInstallation installation(runner, propertyLists);
    return agent.write({"ready"}) == 0 && serve(agent, installation, caller) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    return Kvs::fRunProgram("KvnHelperInstaller", kUsage, argc, argv, {{"--root", true}}, run);
}
