// SPDX-License-Identifier: MIT

#include "host/Host.h"

#include "core/system/FSysInfoPaths.h"
#include "host/linux/BusConnection.h"
#include "host/linux/DesktopModule.h"
#include "host/linux/LinuxPowerManagement.h"
#include "host/linux/LinuxPrivilegedJobs.h"
#include "host/linux/LinuxRunningApplications.h"
#include "host/linux/LinuxSessionInfo.h"
#include "host/linux/LinuxSystemInfo.h"
#include "host/linux/LinuxWorkspace.h"
#include "host/linux/LogindConsoleUser.h"
#include "host/linux/SessionBusNotifications.h"
#include "host/linux/Unavailable.h"
#include "host/none/NoInput.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/posix/BackgroundWork.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/SandboxPrivacy.h"
#include "host/posix/SystemTime.h"

#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::host {
namespace {

/// Returns the path of the bundle that contains this program: X.app of X.app/Contents/MacOS/program.
std::string ownBundlePath() {
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return program.parent_path().parent_path().parent_path().string();
}

/// Fills in what finds the agents of the session, and talks to them.
void addSession(Host& host, std::shared_ptr<BusConnection> sessionBus) {
    host.systemInfo = std::make_unique<LinuxSystemInfo>();
    host.propertyList = std::make_unique<PortablePropertyList>();
    host.bundle = std::make_unique<AppBundle>(ownBundlePath(), *host.propertyList,
                                              host.systemInfo->preferredLanguages());
    host.notifications = std::make_unique<SessionBusNotifications>(*host.mainLoop, std::move(sessionBus));
    host.runningApplications =
        std::make_unique<LinuxRunningApplications>(host.bundle->infoValue("CFBundleIdentifier").value_or(""));
}

} // namespace

bool hasFrontEnd(FrontEnd) { return true; }

FrontEnd defaultFrontEnd() {
    if (desktopCanBeUsed()) {
        return FrontEnd::Desktop;
    }
    return isatty(STDIN_FILENO) ? FrontEnd::Terminal : FrontEnd::None;
}

Host makeHost(FrontEnd frontEnd) {
    Host host;
    DesktopModule* const desktop = frontEnd == FrontEnd::Desktop ? &desktopModule() : nullptr;
    host.mainLoop = desktop ? desktop->makeMainLoop() : std::make_unique<PollMainLoop>();
    host.clock = std::make_unique<SystemClock>();
    host.sessionInfo = std::make_unique<LinuxSessionInfo>();
    auto runner = std::make_unique<PosixProcessRunner>(*host.mainLoop);
    const auto sessionBus = std::make_shared<BusConnection>(*host.mainLoop, BusConnection::Bus::Session);
    const auto systemBus = std::make_shared<BusConnection>(*host.mainLoop, BusConnection::Bus::System);
    addSession(host, sessionBus);
    host.powerManagement = std::make_unique<LinuxPowerManagement>(*host.mainLoop, sessionBus, systemBus);
    host.pointer = std::make_unique<NoPointer>();
    auto jobs = std::make_unique<LinuxPrivilegedJobs>(*host.bundle, *runner, *host.propertyList);
    addBackgroundWork(host, std::move(runner), std::move(jobs));
    host.scriptRunner = std::make_unique<NoScriptRunner>();
    host.consoleUser = std::make_unique<LogindConsoleUser>(*host.mainLoop, systemBus);
    host.workspace =
        std::make_unique<LinuxWorkspace>(*host.mainLoop, *host.processRunner, sessionBus, systemBus);
    host.hotKeys = std::make_unique<NoHotKeys>();
    if (Kvs::FSysInfoPaths::underRoot("").empty()) {
        host.privacyPermissions = std::make_unique<UnguardedPrivacy>();
    } else {
        host.privacyPermissions = std::make_unique<SandboxPrivacy>("KvnGUIAgent", *host.propertyList);
    }
    if (desktop) {
        host.makeUserInterface = [desktop, sessionBus](Host& used) {
            return desktop->makeUserInterface(used, sessionBus);
        };
    } else {
        host.makeUserInterface =
            frontEnd == FrontEnd::Terminal ? makeTerminalUserInterface : makeNoUserInterface;
    }
    return host;
}

Host makeRequestHost() {
    Host host;
    host.mainLoop = std::make_unique<PollMainLoop>();
    addSession(host, std::make_shared<BusConnection>(*host.mainLoop, BusConnection::Bus::Session));
    return host;
}

} // namespace kvn::host
