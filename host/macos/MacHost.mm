// SPDX-License-Identifier: MIT

#include "host/Host.h"

#include "core/system/FSysInfoPaths.h"
#include "host/macos/Conversions.h"
#include "host/macos/MacConsoleUser.h"
#include "host/macos/MacInput.h"
#include "host/macos/MacMainLoop.h"
#include "host/macos/MacPowerManagement.h"
#include "host/macos/MacPrivacyPermissions.h"
#include "host/macos/MacPrivilegedJobs.h"
#include "host/macos/MacPropertyList.h"
#include "host/macos/MacRunningApplications.h"
#include "host/macos/MacSystemInfo.h"
#include "host/macos/MacWorkspace.h"
#include "host/none/NoInput.h"
#include "host/posix/AppBundle.h"
#include "host/posix/BackgroundWork.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/SandboxPrivacy.h"
#include "host/posix/SystemTime.h"
#include "host/posix/ToolScriptRunner.h"

#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

namespace kvn::host {

bool hasFrontEnd(FrontEnd frontEnd) { return frontEnd != FrontEnd::Terminal; }

FrontEnd defaultFrontEnd() {
    // Without a session of the window server, as in a remote shell, there is no dictionary.
    NSDictionary* const session = CFBridgingRelease(CGSessionCopyCurrentDictionary());
    return session ? FrontEnd::Desktop : FrontEnd::None;
}

Host makeHost(FrontEnd frontEnd) {
    const bool hasWindows = frontEnd == FrontEnd::Desktop;
    Host host;
    host.makeUserInterface = hasWindows ? makeDesktopUserInterface : makeNoUserInterface;
    host.mainLoop = std::make_unique<MacMainLoop>(hasWindows);
    host.clock = std::make_unique<SystemClock>();
    host.systemInfo = std::make_unique<MacSystemInfo>();
    host.sessionInfo = std::make_unique<MacSessionInfo>();
    auto runner = std::make_unique<PosixProcessRunner>(*host.mainLoop);
    host.propertyList = std::make_unique<MacPropertyList>();
    host.bundle = std::make_unique<AppBundle>(stdString(NSBundle.mainBundle.bundlePath), *host.propertyList,
                                              host.systemInfo->preferredLanguages());
    host.powerManagement = std::make_unique<MacPowerManagement>(*host.mainLoop);
    addBackgroundWork(host, std::move(runner), std::make_unique<MacPrivilegedJobs>());
    host.scriptRunner = std::make_unique<ToolScriptRunner>(*host.processRunner, "/usr/bin/osascript");
    host.consoleUser = std::make_unique<MacConsoleUser>(*host.mainLoop);
    host.workspace = std::make_unique<MacWorkspace>(*host.mainLoop);
    host.notifications = makeDistributedNotifications(*host.mainLoop);
    host.runningApplications =
        std::make_unique<MacRunningApplications>(host.bundle->infoValue("CFBundleIdentifier").value_or(""));
    if (hasWindows) {
        host.pointer = std::make_unique<MacPointer>();
        host.hotKeys = std::make_unique<MacHotKeys>();
    } else {
        host.pointer = std::make_unique<NoPointer>();
        host.hotKeys = std::make_unique<NoHotKeys>();
    }
    if (Kvs::FSysInfoPaths::underRoot("").empty()) {
        host.privacyPermissions = std::make_unique<MacPrivacyPermissions>(*host.systemInfo);
    } else {
        host.privacyPermissions = std::make_unique<SandboxPrivacy>("KvnGUIAgent", *host.propertyList);
    }
    return host;
}

Host makeRequestHost() { return makeHost(FrontEnd::None); }

} // namespace kvn::host
