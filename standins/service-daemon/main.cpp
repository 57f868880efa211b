// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/ProgramOptions.h"
#include "host/posix/PollMainLoop.h"
#include "standins/service-daemon/Control.h"
#include "standins/service-daemon/Service.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>

// A stand-in for the remote service of the machine. It is controlled over its control socket.

namespace {

using namespace kvn;
using Kvs::FSysInfoPaths;

constexpr char kProgram[] = "service-daemon";
constexpr char kUsage[] =
    "usage: service-daemon --root DIR\n"
    "\n"
    "  --root DIR   a folder used in place of / in every fixed path\n"
    "\n"
    "Takes one command a line on the socket DIR/var/run/service-daemon.control; \"help\" lists them.\n";

int run(const Kvs::ProgramOptions& options) {
    const std::string root = options.value("--root").value_or("");
    if (root.empty()) {
        throw std::invalid_argument("--root needs a folder");
    }
    std::signal(SIGPIPE, SIG_IGN);
    FSysInfoPaths::setRoot(root);
    for (const char* folder : {"/var/run", "/var/tmp", "/var/log"}) {
        std::filesystem::create_directories(FSysInfoPaths::underRoot(folder));
    }
    const std::string control = FSysInfoPaths::underRoot("/var/run/service-daemon.control");
    if (connectedTo(control)) {
        throw std::runtime_error("another daemon serves " + root);
    }
    const std::string logs = FSysInfoPaths::underRoot("/var/log/com.korvane.remote");
    Kvs::CNSInitLog(Kvs::kLogModeDebugOff | Kvs::kLogModeNewLogBook, Kvs::kSysLogSuppressed, kProgram,
                    logs.c_str());
    host::PollMainLoop loop;
    const auto onTerminate = loop.onSignal(SIGTERM, [&] { loop.quit(); });
    const auto onInterrupt = loop.onSignal(SIGINT, [&] { loop.quit(); });
    daemon::Service service(loop);
    // Created last: once a client can connect, the pipes are open.
    const daemon::Control commands(loop, service, control);
    loop.run();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return Kvs::fRunProgram(kProgram, kUsage, argc, argv, {{"--root", true}}, run);
}
