#include "agent/GUIAgentController.h"
#include "agent/Options.h"
#include "agent/SandboxRoot.h"
#include "agent/TerminalFrontEnd.h"
#include "basic/SystemSleepMonitor.h"
#include "core/base/FException.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/Host.h"
#include "remote/platform/RemoteAppSuitePrefs.h"
#include "remote/platform/RemoteServiceSettings.h"

#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <unistd.h>
#include <variant>

// The composition root: reads the options, builds everything from the machine's backend, and runs.

namespace {

using namespace kvn;

constexpr char kProgram[] = "KvnGUIAgent";
constexpr char kBundleIdentifier[] = "com.korvane.remote.KvnGUIAgent";
constexpr char kLogDirectory[] = "/var/log/com.korvane.remote";
constexpr char kPreferencesSuite[] = "com.korvane.remote";

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

int fail(int status, const std::string& problem) {
    std::fprintf(stderr, "%s: %s\n", kProgram, problem.c_str());
    return status;
}

TerminalFrontEnd::Commands terminalCommands(GUIAgentController& controller, TerminalFrontEnd& terminal,
                                            host::MainLoop& mainLoop) {
    const auto answer = [](bool sent, const char* request) {
        return sent ? std::string("ok: ") + request + " requested" : "error: the service cannot be reached";
    };
    return {
        {"status", [&] { return terminal.forgetShownStatus(), controller.showServiceStatus(), ""; }},
        {"pause", [&, answer] { return answer(controller.requestServicePause(), "pause"); }},
        {"continue", [&, answer] { return answer(controller.requestServiceContinue(), "continue"); }},
        {"reboot", [&, answer] { return answer(controller.requestSystemReboot(), "reboot"); }},
        {"quit", [&] { return mainLoop.quit(), "ok"; }},
    };
}

int runAgent(host::Host& host, FrontEnd frontEnd) {
    host::MainLoop& mainLoop = *host.mainLoop;
    SystemSleepMonitor sleepMonitor(*host.powerManagement, *host.pointer, mainLoop);
    RemoteAppSuitePrefs preferences(kPreferencesSuite, *host.propertyList);
    RemoteServiceSettings settings(preferences);
    SystemSleepMonitor::setSharedInstance(&sleepMonitor);
    RemoteAppSuitePrefs::setSharedInstance(&preferences);
    RemoteServiceSettings::setSharedSettings(&settings);

    std::optional<TerminalFrontEnd> terminal;
    if (frontEnd == FrontEnd::Terminal) {
        terminal.emplace(mainLoop);
    }
    GUIAgentController controller({mainLoop, *host.processRunner, *host.bundle, *host.systemInfo,
                                   *host.sessionInfo, sleepMonitor, settings},
                                  *host.clock, terminal ? &*terminal : nullptr);

    const auto terminate = [&] {
        Kvs::CNSLog("Terminating agent: %s", kBundleIdentifier);
        mainLoop.quit();
    };
    const auto onTerminate = mainLoop.onSignal(SIGTERM, terminate);
    const auto onInterrupt = mainLoop.onSignal(SIGINT, terminate);
    if (terminal) {
        terminal->start(terminalCommands(controller, *terminal, mainLoop), terminate);
    }
    controller.start();
    mainLoop.run();
    Kvs::CNSLog("Application will terminate: %s", kProgram);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const auto parsed = parseOptions(argc, argv);
    if (const auto* problem = std::get_if<std::string>(&parsed)) {
        return fail(kExitUsage, *problem + "\n" + kUsage);
    }
    const Options& options = std::get<Options>(parsed);
    if (options.help || options.version) {
        std::printf("%s", options.help ? kUsage : "KvnGUIAgent " KVN_VERSION "\n");
        return 0;
    }
    if (!options.root.empty()) {
        std::string problem;
        const auto root = prepareRoot(options.root, problem);
        if (!root) {
            return fail(kExitFailure, problem);
        }
        Kvs::FSysInfoPaths::setRoot(*root);
    }

    // Writes to a closed socket must fail, not kill.
    std::signal(SIGPIPE, SIG_IGN);
    const std::string logDirectory = Kvs::FSysInfoPaths::underRoot(kLogDirectory);
    Kvs::CNSInitLog(Kvs::kLogModeNewLogBook | Kvs::kLogModeDebugOff, Kvs::kSysLogConsole, kProgram,
                    logDirectory.c_str());
    try {
        host::Host host = host::makeHost();
        const std::string user = host.sessionInfo->ownSession().userName;
        Kvs::CNSLog("Launched: %s version: %s for user: %s(%d)", kProgram, KVN_VERSION, user.c_str(),
                    static_cast<int>(geteuid()));
        const FrontEnd fallback = isatty(STDIN_FILENO) ? FrontEnd::Terminal : FrontEnd::None;
        return runAgent(host, options.frontEnd.value_or(fallback));
    } catch (const std::exception& exception) {
        return fail(kExitFailure, exception.what());
    }
}
