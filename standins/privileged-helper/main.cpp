// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/ProgramOptions.h"
#include "host/executable/EmbeddedInfoList.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollMainLoop.h"
#include "standins/privileged-helper/Helper.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>

// A stand-in for the privileged helper: starts and stops the remote service, and runs tasks.

namespace {

using namespace kvn;
using Kvs::FSysInfoPaths;

constexpr char kProgram[] = "KvnServiceController";
constexpr char kUsage[] = "usage: KvnServiceController [--root DIR]\n"
                          "\n"
                          "  --root DIR   a folder used in place of / in every fixed path\n";

/// Returns the version in the information list of an executable. Throws std::runtime_error with the reason.
std::string versionOf(const std::string& executable) {
    const auto text = host::readEmbeddedInfoList(executable);
    if (const auto* error = std::get_if<host::Error>(&text)) {
        throw std::runtime_error(executable + ": " + error->reason);
    }
    const auto list = host::PortablePropertyList().parse(std::get<std::string>(text));
    if (const auto* value = std::get_if<host::PropertyValue>(&list)) {
        const auto* entries = value->as<host::PropertyValue::Dictionary>();
        const auto entry = entries ? entries->find("CFBundleVersion") : decltype(entries->end()){};
        if (entries && entry != entries->end() && entry->second.as<std::string>()) {
            return *entry->second.as<std::string>();
        }
    }
    throw std::runtime_error(executable + ": no CFBundleVersion in its information list");
}

int run(const std::string& executable, const Kvs::ProgramOptions& options) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string version = versionOf(executable);
    FSysInfoPaths::setRoot(options.value("--root").value_or(""));
    if (!options.has("--root")) {
        unsetenv("KVN_REMOTE_ROOT"); // tasks and the service must not take an inherited one for the helper's
    }
    for (const char* folder : {"/var/run", "/var/log"}) {
        std::filesystem::create_directories(FSysInfoPaths::underRoot(folder));
    }
    const std::string logs = FSysInfoPaths::underRoot("/var/log/com.korvane.remote");
    Kvs::CNSInitLog(Kvs::kLogModeDebugOff | Kvs::kLogModeNewLogBook, Kvs::kSysLogSuppressed, kProgram,
                    logs.c_str());
    // The service inherits the standard output, and its output must not appear in the agent's terminal.
    if (!std::freopen("/dev/null", "w", stdout)) {
        throw std::runtime_error("/dev/null cannot be opened");
    }
    host::PollMainLoop loop;
    const auto onTerminate = loop.onSignal(SIGTERM, [&] { loop.quit(); });
    const auto onInterrupt = loop.onSignal(SIGINT, [&] { loop.quit(); });
    const helper::Helper helper(loop, version);
    loop.run();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return Kvs::fRunProgram(kProgram, kUsage, argc, argv, {{"--root", true}},
                            [&](const Kvs::ProgramOptions& options) { return run(argv[0], options); });
}
