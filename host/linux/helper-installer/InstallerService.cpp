// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/InstallerService.h"

#include "core/system/FileDescriptor.h"
#include "host/linux/helper-installer/HelperInstallation.h"
#include "host/linux/helper-installer/LinePipe.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {
namespace {

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text.substr(0, LinePipe::kMaxLine);
}

/// Carries out commands until the end of the input. Returns false if one was malformed.
bool serve(LinePipe& agent, const HelperInstallation& installation, Trust trust) {
    for (auto command = agent.read(); command; command = agent.read()) {
        const auto source = *command == "bless" ? agent.read() : std::nullopt;
        const auto label = source ? agent.read() : std::nullopt;
        if (!label) {
            return false;
        }
        const auto error = installation.bless(*source, *label, trust);
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

bool serveInstaller(Trust trust) {
    // The helper must get the environment and the umask of the system's jobs, not the caller's.
    clearenv();
    setenv("PATH", "/usr/bin:/bin:/usr/sbin:/sbin", 1);
    umask(022);
    std::signal(SIGPIPE, SIG_IGN);
    Kvs::FileDescriptor input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
    const int agentEnds = input.get(); // the agent writes nothing while it waits for an answer
    LinePipe agent(std::move(input), Kvs::FileDescriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)));
    dup2(STDERR_FILENO, STDOUT_FILENO); // no program may write into the pipe of answers
    PollMainLoop mainLoop;
    PosixProcessRunner runner(mainLoop);
    const PortablePropertyList propertyLists;
    const HelperInstallation installation(runner, propertyLists, agentEnds);
    return agent.write({"ready"}) == 0 && serve(agent, installation, trust);
}

} // namespace kvn::host
