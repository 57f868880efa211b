// SPDX-License-Identifier: MIT

#include "agent/AppDelegate.h"
#include "agent/Options.h"
#include "agent/SandboxRoot.h"
#include "basic/FFLocalizedText.h"
#include "basic/SystemSleepMonitor.h"
#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "host/Host.h"
#include "remote/platform/launchd/LaunchdController.h"
#include "remote/platform/launchd/LoginSessionMonitor.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"
#include "remote/platform/settings/RemoteServiceSettings.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <variant>

// Reads the options, builds the agent from a host and a front end, and runs it.

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

std::string identifierOf(const host::Bundle& bundle) {
    return bundle.infoValue("CFBundleIdentifier").value_or(kBundleIdentifier);
}

/// Returns true if another agent of this user has shown the dialog.
bool shownByRunningAgent(RequestedDialog dialog) {
    const host::Host host = host::makeRequestHost();
    const auto agents = host.runningApplications->instancesOf(identifierOf(*host.bundle));
    return std::any_of(agents.begin(), agents.end(), [](pid_t process) { return process != getpid(); }) &&
           requestDialog(dialog, *host.mainLoop, *host.notifications);
}

/// Takes the option back: a program with `--show` among its arguments does not count as an agent.
void becomeAgent(char** argv) {
    for (; *argv; ++argv) {
        if (std::strcmp(*argv, "--show") == 0) {
            std::memset(*argv, ' ', std::strlen(*argv));
        }
    }
}

/// Builds the agent on this host, and runs it until it is ended. Shows the dialog at the start, if any.
int runAgent(host::Host& host, std::optional<RequestedDialog> dialog) {
    host::MainLoop& mainLoop = *host.mainLoop;
    SystemSleepMonitor sleepMonitor(*host.powerManagement, *host.pointer, mainLoop);
    RemoteAppSuitePrefs preferences(kPreferencesSuite, *host.propertyList);
    RemoteServiceSettings settings(preferences);
    SystemSleepMonitor::setSharedInstance(&sleepMonitor);
    RemoteAppSuitePrefs::setSharedInstance(&preferences);
    RemoteServiceSettings::setSharedSettings(&settings);
    FFLocalizedText::setSharedSources(host.bundle.get(), host.systemInfo.get());

    const auto userInterface = host.makeUserInterface(host);
    LaunchdController launchd(*host.processRunner, *host.scriptRunner, *host.sleeper, *host.systemInfo);
    LoginSessionMonitor loginSessions(*host.consoleUser, mainLoop, *host.toolQueue, launchd);
    AppDelegate application({.userInterface = *userInterface,
                             .mainLoop = mainLoop,
                             .clock = *host.clock,
                             .bundle = *host.bundle,
                             .systemInfo = *host.systemInfo,
                             .sessionInfo = *host.sessionInfo,
                             .processRunner = *host.processRunner,
                             .sleeper = *host.sleeper,
                             .privilegedJobs = *host.privilegedJobs,
                             .privacyPermissions = *host.privacyPermissions,
                             .notifications = *host.notifications,
                             .runningApplications = *host.runningApplications,
                             .workQueue = *host.workQueue,
                             .toolQueue = *host.toolQueue,
                             .sleepMonitor = sleepMonitor,
                             .settings = settings},
                            kProgram, identifierOf(*host.bundle));

    host.endApplication = [&] {
        application.applicationWillTerminate();
        host.endBackgroundWork();
    };
    const auto terminate = [&] { application.terminate(); };
    const auto onInterrupt = mainLoop.onSignal(SIGINT, terminate);
    application.applicationDidFinishLaunching();
    loginSessions.systemMonitorStartedMonitoring();
    userInterface->start(application.commands(), terminate);
    if (dialog) {
        application.show(*dialog);
    }
    try {
        mainLoop.run();
    } catch (...) {               // of a task
        host.endBackgroundWork(); // jobs in progress use what is destroyed now
        throw;
    }
    host.endApplication();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Kvs::useOneHeap();
    const auto parsed = parseOptions(argc, argv);
    if (const auto* problem = std::get_if<std::string>(&parsed)) {
        return fail(kExitUsage, *problem + "\n" + kUsage);
    }
    const Options& options = std::get<Options>(parsed);
    if (options.help || options.version) {
        std::printf("%s", options.help ? kUsage : "KvnGUIAgent " KVN_VERSION "\n");
        return 0;
    }
    if (options.frontEnd && !host::hasFrontEnd(*options.frontEnd)) {
        return fail(kExitUsage, "this system does not have the front end that --ui names");
    }
    if (!options.root.empty()) {
        std::string problem;
        const auto root = prepareRoot(options.root, problem);
        if (!root) {
            return fail(kExitFailure, problem);
        }
        Kvs::FSysInfoPaths::setRoot(*root);
        setenv("KVN_REMOTE_ROOT", root->c_str(), 1); // read by the product's programs that the agent starts
    } else {
        unsetenv("KVN_REMOTE_ROOT"); // they must not take an inherited one for the agent's
    }

    // A write to a closed socket must fail instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    if (options.show) {
        if (shownByRunningAgent(*options.show)) {
            return 0;
        }
        becomeAgent(argv);
    }
    const std::string logDirectory = Kvs::FSysInfoPaths::underRoot(AppDelegate::kLogDirectory);
    Kvs::CNSInitLog(Kvs::kLogModeNewLogBook | Kvs::kLogModeDebugOff, Kvs::kSysLogConsole, kProgram,
                    logDirectory.c_str());
    try {
        host::Host host = host::makeHost(options.frontEnd ? *options.frontEnd : host::defaultFrontEnd());
        return runAgent(host, options.show);
    } catch (const std::exception& exception) {
        return fail(kExitFailure, exception.what());
    }
}
