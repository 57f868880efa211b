// SPDX-License-Identifier: MIT

#pragma once

#include "basic/SystemSleepMonitor.h"
#include "host/Bundle.h"
#include "host/Clock.h"
#include "host/DistributedNotifications.h"
#include "host/MainLoop.h"
#include "host/PrivacyPermissions.h"
#include "host/PrivilegedJobs.h"
#include "host/ProcessRunner.h"
#include "host/RunningApplications.h"
#include "host/SessionInfo.h"
#include "host/Sleeper.h"
#include "host/SystemInfo.h"
#include "host/UserInterface.h"
#include "host/WorkQueue.h"
#include "remote/platform/settings/RemoteServiceSettings.h"

namespace kvn {

/// The objects that the application's classes use. All of them outlive the application.
struct ApplicationEnvironment {
    host::UserInterface& userInterface;
    host::MainLoop& mainLoop;
    const host::Clock& clock;
    const host::Bundle& bundle;
    const host::SystemInfo& systemInfo;
    const host::SessionInfo& sessionInfo;
    host::ProcessRunner& processRunner;
    host::Sleeper& sleeper;
    host::PrivilegedJobs& privilegedJobs;
    host::PrivacyPermissions& privacyPermissions;
    host::DistributedNotifications& notifications;
    host::RunningApplications& runningApplications;
    host::WorkQueue& workQueue; // for the helper, whose installation may wait for the user
    host::WorkQueue& toolQueue; // for short runs of tools
    SystemSleepMonitor& sleepMonitor;
    RemoteServiceSettings& settings;
};

} // namespace kvn
