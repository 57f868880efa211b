#include "agent/AppDelegate.h"
#include "agent/Options.h"
#include "agent/PrivacyChecks.h"
#include "agent/SandboxRoot.h"
#include "agent/TerminalFrontEnd.h"
#include "basic/FFLocalizedText.h"
#include "basic/SystemSleepMonitor.h"
#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/Host.h"
#include "host/terminal/NoUserInterface.h"
#include "remote/platform/launchd/LaunchdController.h"
#include "remote/platform/launchd/LoginSessionMonitor.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"
#include "remote/platform/settings/RemoteServiceSettings.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <unistd.h>
#include <variant>

// The composition root: reads the options, builds everything from the machine's backend, and runs.

namespace {

using namespace kvn;

constexpr char kProgram[] = "KvnGUIAgent";
constexpr char kBundleIdentifier[] = "com.korvane.remote.KvnGUIAgent";
constexpr char kPreferencesSuite[] = "com.korvane.remote";

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

int fail(int status, const std::string& problem) {
    std::fprintf(stderr, "%s: %s\n", kProgram, problem.c_str());
    return status;
}

/// Builds the agent, and runs it until something ends it.
int runAgent(host::Host& host, FrontEnd frontEnd) {
    host::MainLoop& mainLoop = *host.mainLoop;
    SystemSleepMonitor sleepMonitor(*host.powerManagement, *host.pointer, mainLoop);
    RemoteAppSuitePrefs preferences(kPreferencesSuite, *host.propertyList);
    RemoteServiceSettings settings(preferences);
    SystemSleepMonitor::setSharedInstance(&sleepMonitor);
    RemoteAppSuitePrefs::setSharedInstance(&preferences);
    RemoteServiceSettings::setSharedSettings(&settings);
    FFLocalizedText::setSharedSources(host.bundle.get(), host.systemInfo.get());

    host::NoStatusBar noStatusBar;
    host::NoDialogWindow noWindow;
    std::optional<TerminalFrontEnd> terminal;
    if (frontEnd == FrontEnd::Terminal) {
        terminal.emplace(host);
    }
    PrivacyChecks privacyChecks(*host.privacyPermissions, *host.systemInfo);
    LaunchdController launchd(*host.processRunner, *host.scriptRunner, *host.sleeper, *host.systemInfo);
    LoginSessionMonitor loginSessions(*host.consoleUser, mainLoop, *host.toolQueue, launchd);
    AppDelegate application(
        {.controller = {.connector = {mainLoop, *host.processRunner, *host.bundle, *host.systemInfo,
                                      *host.sessionInfo, sleepMonitor, settings},
                        .helper = {mainLoop, *host.sleeper, *host.bundle, *host.privilegedJobs},
                        .clock = *host.clock,
                        .workQueue = *host.workQueue},
         .statusBar = terminal ? terminal->statusBar() : noStatusBar,
         .dialogWindow = terminal ? terminal->dialogWindow() : noWindow,
         .permissionWindow = terminal ? terminal->permissionWindow() : noWindow,
         .workspace = terminal ? terminal->workspace() : *host.workspace,
         .notifications = *host.notifications,
         .runningApplications = *host.runningApplications,
         .hotKeys = terminal ? terminal->hotKeys() : *host.hotKeys,
         .toolQueue = *host.toolQueue,
         .privacyChecks = privacyChecks},
        kProgram, host.bundle->infoValue("CFBundleIdentifier").value_or(kBundleIdentifier));

    const auto terminate = [&] { application.terminate(); };
    const auto onInterrupt = mainLoop.onSignal(SIGINT, terminate);
    const auto onHangUp = terminal ? mainLoop.onSignal(SIGHUP, terminate) : nullptr; // its window was closed
    application.applicationDidFinishLaunching();
    loginSessions.systemMonitorStartedMonitoring();
    if (terminal) {
        terminal->start(application);
    }
    mainLoop.run();
    application.applicationWillTerminate();
    host.endBackgroundWork();
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
        setenv("KVN_REMOTE_ROOT", root->c_str(), 1); // for the product's programs that the agent starts
    }

    // Writes to a closed socket must fail, not kill.
    std::signal(SIGPIPE, SIG_IGN);
    const std::string logDirectory = Kvs::FSysInfoPaths::underRoot(AppDelegate::kLogDirectory);
    Kvs::CNSInitLog(Kvs::kLogModeNewLogBook | Kvs::kLogModeDebugOff, Kvs::kSysLogConsole, kProgram,
                    logDirectory.c_str());
    try {
        host::Host host = host::makeHost();
        const FrontEnd fallback = isatty(STDIN_FILENO) ? FrontEnd::Terminal : FrontEnd::None;
        return runAgent(host, options.frontEnd.value_or(fallback));
    } catch (const std::exception& exception) {
        return fail(kExitFailure, exception.what());
    }
}
