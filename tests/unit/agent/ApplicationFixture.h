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
#include <vector>

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
        env.bundle.resources["verifyPermissions.sh"] = "/Agent.app/verifyPermissions.sh";
        FFLocalizedText::setSharedSources(&env.bundle, &env.system);
    }
    ~Application() override { FFLocalizedText::setSharedSources(nullptr, nullptr); }

    static std::string home() { return Kvs::FSysInfoPaths::underRoot("/Users/alice"); }

    /// The log's lines that have this text in them.
    std::vector<std::string> linesWith(const std::string& text) const {
        std::vector<std::string> found = env.log.lines();
        std::erase_if(found, [&](const auto& line) { return line.find(text) == line.npos; });
        return found;
    }

    AgentEnvironment env;
    FakeStatusBar bar;
    FakeWindow dialog;
    FakeWindow permissions;
    FakeWorkspace workspace;
    FakeNotifications notifications;
    FakeRunningApplications instances;
    FakeHotKeys hotKeys;
    FakePrivacy privacy;
    FakePrivilegedJobs jobs;
    FakeSleeper sleeper;
    ManualWorkQueue workQueue;
    ManualWorkQueue toolQueue;
    PrivacyChecks checks{privacy, env.system};
    AppDelegate app{{.controller = {.connector = env.connector,
                                    .helper = {env.loop, sleeper, env.bundle, jobs},
                                    .clock = env.clock,
                                    .workQueue = workQueue},
                     .statusBar = bar,
                     .dialogWindow = dialog,
                     .permissionWindow = permissions,
                     .workspace = workspace,
                     .notifications = notifications,
                     .runningApplications = instances,
                     .hotKeys = hotKeys,
                     .toolQueue = toolQueue,
                     .privacyChecks = checks},
                    "KvnGUIAgent",
                    "com.korvane.remote.KvnGUIAgent"};
};

} // namespace kvn::test
