// SPDX-License-Identifier: MIT

#pragma once

#include "agent/AppDelegate.h"
#include "basic/FFLocalizedText.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeDesktop.h"
#include "tests/support/FakePrivilegedJobs.h"
#include "tests/support/FakeSleeper.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace kvn::test {

/// The whole application on fakes, in a root of its own, not yet launched.
class Application : public testing::Test {
protected:
    Application() {
        setenv("HOME", "/Users/alice", 1);
        std::filesystem::create_directories(home());
        env.bundle.embedded
            [env.bundle.auxiliaryExecutable("Library/LaunchServices/com.korvane.remote.KvnServiceController")
                 .value()] = {{"CFBundleIdentifier", {"com.korvane.remote.KvnServiceController"}},
                              {"CFBundleVersion", {"2.0.0"}}};
        FFLocalizedText::setSharedSources(&env.bundle, &env.system);
    }
    ~Application() override { FFLocalizedText::setSharedSources(nullptr, nullptr); }

    static std::string home() { return Kvs::FSysInfoPaths::underRoot("/Users/alice"); }

    AgentEnvironment env;
    FakeUserInterface ui;
    FakeNotifications notifications;
    FakeRunningApplications instances;
    FakePrivacy privacy;
    FakePrivilegedJobs jobs;
    FakeSleeper sleeper;
    ManualWorkQueue workQueue;
    ManualWorkQueue& toolQueue = env.toolQueue;
    const ApplicationEnvironment environment{.userInterface = ui,
                                             .mainLoop = env.loop,
                                             .clock = env.clock,
                                             .bundle = env.bundle,
                                             .systemInfo = env.system,
                                             .sessionInfo = env.session,
                                             .processRunner = env.runner,
                                             .sleeper = sleeper,
                                             .privilegedJobs = jobs,
                                             .privacyPermissions = privacy,
                                             .notifications = notifications,
                                             .runningApplications = instances,
                                             .workQueue = workQueue,
                                             .toolQueue = toolQueue,
                                             .sleepMonitor = env.sleepMonitor,
                                             .settings = env.settings};
    AppDelegate app{environment, "KvnGUIAgent", "com.korvane.remote.KvnGUIAgent"};
};

} // namespace kvn::test
