// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/Clock.h"
#include "host/ConsoleUser.h"
#include "host/DistributedNotifications.h"
#include "host/HotKeys.h"
#include "host/MainLoop.h"
#include "host/Pointer.h"
#include "host/PowerManagement.h"
#include "host/PrivacyPermissions.h"
#include "host/PrivilegedJobs.h"
#include "host/ProcessRunner.h"
#include "host/PropertyList.h"
#include "host/RunningApplications.h"
#include "host/ScriptRunner.h"
#include "host/SessionInfo.h"
#include "host/Sleeper.h"
#include "host/SystemInfo.h"
#include "host/UserInterface.h"
#include "host/WorkQueue.h"
#include "host/Workspace.h"

#include <functional>
#include <memory>

namespace kvn::host {

/// Holds the objects that a backend provides. No member but `endApplication` is null. A member may use those
/// above it, and all are destroyed before the main loop.
struct Host {
    std::unique_ptr<MainLoop> mainLoop;
    std::unique_ptr<Clock> clock;
    std::unique_ptr<SystemInfo> systemInfo;
    std::unique_ptr<SessionInfo> sessionInfo;
    std::unique_ptr<ProcessRunner> processRunner;
    std::unique_ptr<PropertyList> propertyList;
    std::unique_ptr<Bundle> bundle;
    std::unique_ptr<PowerManagement> powerManagement;
    std::unique_ptr<Pointer> pointer;
    std::unique_ptr<Sleeper> sleeper;
    std::unique_ptr<PrivilegedJobs> privilegedJobs;
    std::unique_ptr<ScriptRunner> scriptRunner;
    std::unique_ptr<WorkQueue> workQueue; // for the helper, whose installation may wait for the user
    std::unique_ptr<WorkQueue> toolQueue; // for short runs of tools
    std::unique_ptr<ConsoleUser> consoleUser;
    std::unique_ptr<Workspace> workspace;
    std::unique_ptr<DistributedNotifications> notifications;
    std::unique_ptr<RunningApplications> runningApplications;
    std::unique_ptr<HotKeys> hotKeys;
    std::unique_ptr<PrivacyPermissions> privacyPermissions;

    /// Ends the work of other threads: sleeps, runs of programs and requests for rights end at once, the jobs
    /// of the queues that have not begun and all later ones are dropped, and those in progress are waited
    /// for. Main thread; after the main loop's run, before anything is destroyed that jobs use.
    std::function<void()> endBackgroundWork;

    /// Does what has to be done when the main loop has run; nothing of the application works afterwards. Set
    /// by the application before the loop runs. Also called by a front end whose toolkit ends the process
    /// from inside the loop. Main thread.
    std::function<void()> endApplication;

    /// Makes the front end that this host was built for. The host outlives it. Main thread.
    std::function<std::unique_ptr<UserInterface>(Host&)> makeUserInterface;
};

// Each backend defines the following.

/// Returns true if this system can have the front end. `makeHost` tells whether it works now.
bool hasFrontEnd(FrontEnd frontEnd);

/// Returns the front end that suits the session in which this process was started.
FrontEnd defaultFrontEnd();

/// Builds the host of this process for a front end. A backend does not touch the
/// window system for a front end without windows. Throws an exception whose text is for the user when the
/// front end cannot be used now, and when the process has no descriptors left. Main thread.
Host makeHost(FrontEnd frontEnd);

/// Builds what a process needs to ask the agents of its session: the main loop, the bundle, the running
/// applications and the notifications. Other members may be null. Throws as `makeHost` does. Main thread.
Host makeRequestHost();

} // namespace kvn::host
