#include "agent/AppDelegate.h"

#include "agent/ToolsLink.h"
#include "tests/unit/agent/ApplicationFixture.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using AppState = AgentApplication::AppState;
using Meaning = host::StatusImage::Meaning;
namespace fs = std::filesystem;

class AppDelegateTest : public Application {
protected:
    /// "start" and "stop" as far as they can be chosen.
    std::string choices() {
        app.showStatusBarItem();
        std::string enabled;
        for (const auto& entry : *bar.menu) {
            const auto* item = std::get_if<host::MenuItem>(&entry);
            if (item && item->enabled && item->title == texts[4]) {
                enabled += "start ";
            } else if (item && item->enabled && item->title == texts[5]) {
                enabled += "stop ";
            }
        }
        return enabled;
    }
    /// The titles, from top to bottom; separators are "-".
    std::vector<std::string> titles() {
        std::vector<std::string> all;
        for (const auto& entry : *bar.menu) {
            const auto* item = std::get_if<host::MenuItem>(&entry);
            all.push_back(item ? item->title : "-");
        }
        return all;
    }
    void launch() {
        std::string file = "<L><Language langKey=\"\">";
        const char* const keys[] = {
            "TRAY_STATUS_FRM_SERVICE",     "TRAY_STATUS_MNU_LOGFILES",  "COMBO_SETTINGS", "LV_FORM_HIDE",
            "TRAY_STATUS_MNU_STARTCLIENT", "TRAY_STATUS_MNU_STOPCLIENT"};
        for (std::size_t i = 0; i < std::size(keys); ++i) {
            file += std::string("<KeyPair key=\"") + keys[i] + "\" value=\"" + texts[i] + "\"/>";
        }
        const std::string folder =
            Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/config";
        fs::create_directories(folder);
        writeFile(folder + "/language.xml", file + "</Language></L>");
        app.applicationDidFinishLaunching();
    }

    const std::vector<std::string> texts{"Service", "Logs", "Prefs", "Hide", "Go", "Halt"};
};

TEST_F(AppDelegateTest, StartsUpInItsOrderAndStarting) {
    env.bundle.info = {{"CFBundleShortVersionString", "3.1"}, {"com.korvane.source.revision", "abc"}};
    launch();
    EXPECT_EQ(linesWith("Launched:").size(), 1U);
    EXPECT_EQ(linesWith("Launched: KvnGUIAgent version: 3.1  (abc) for user: ").size(), 1U);
    EXPECT_EQ(bar.menu, nullptr); // the settings say so
    EXPECT_EQ(bar.image.meaning, Meaning::NotConnected);
    EXPECT_EQ(choices(), "");
    EXPECT_THAT(titles(), ElementsAre("Service", "Logs", "-", "Prefs", "-", "PermissionsMenuItem", "-", "Go",
                                      "Halt", "-", "Hide"));
    EXPECT_EQ(linesWith("Starting status timer").size(), 1U);
    EXPECT_EQ(linesWith("Checking permissions").size(), 1U);
    EXPECT_EQ(hotKeys.key.code, 126U);
    EXPECT_EQ(hotKeys.key.modifiers, 0x1100U);

    notifications.post({"com.korvane.remote.ShowGUIAgentSettings", "somebody else", {}});
    EXPECT_FALSE(dialog.visible);
    notifications.post(
        {"com.korvane.remote.ShowGUIAgentSettings", "com.korvane.remote.GUIAgentSettings", {}});
    EXPECT_EQ(dialog.title, "SettingsDialogTitle");
}

TEST_F(AppDelegateTest, OldSystemsHaveNoPermissionsItem) {
    env.system.release = {10, 13, 6};
    hotKeys.result = -9868;
    launch();
    app.showStatusBarItem();
    EXPECT_THAT(titles(), ElementsAre("Service", "Logs", "-", "Prefs", "-", "Go", "Halt", "-", "Hide"));
    EXPECT_THAT(linesWith("HotKey"), ElementsAre("InstallApplicationEventHandler for HotKey failed: -9868",
                                                 "RegisterEventHotKey failed: -9868"));
}

TEST_F(AppDelegateTest, TheStateFollowsTheReportTheAgeAndTheLastStart) {
    launch();
    const struct {
        std::chrono::milliseconds age;
        std::int32_t reported;
        std::int32_t shown;
        const char* choices;
    } cases[] = {
        {10s, 1, 3, ""},                                  // an early offline report is not believed
        {15s, 1, 3, ""},                                  // up to the last moment
        {15001ms, 1, 1, "start "},                        // then it is
        {15s, 3, 3, ""},           {20s, 3, 1, "start "}, // a start that never completed
        {0s, 0, 0, "stop "},       {20s, 2, 2, ""},
        {20s, 77, 77, "start "},   {20s, 4, 4, "stop "}, // the start failed
        {20s, 1, 1, "stop "},                            // and offline changes nothing about that
        {10s, 1, 3, "stop "},                            // nor do the two cases of the grace
        {20s, 3, 1, "stop "},      {20s, 0, 0, "stop "}, // until the service is online
        {20s, 1, 1, "start "},
    };
    for (const auto& c : cases) {
        workspace.announce(host::Workspace::Event::WillSleep);
        workspace.announce(host::Workspace::Event::DidWake); // begins the grace anew
        env.clock.advance(c.age);
        EXPECT_EQ(app.updateAppState(AppState::NotOnline, ServiceState{c.reported}), ServiceState{c.shown})
            << c.reported;
        EXPECT_EQ(choices(), c.choices) << c.reported;
    }
}

TEST_F(AppDelegateTest, TheIconShowsWhetherSomebodyControls) {
    launch();
    app.showStatusBarItem();
    const std::tuple<AppState, const char*, Meaning> cases[] = {
        {AppState::Controlled, "ControlledStatusIcon", Meaning::Controlled},
        {AppState::Online, "ConnectedStatusIcon", Meaning::Connected},
        {AppState::NotOnline, "ConnectedStatusIcon", Meaning::NotConnected},
    };
    for (const auto& [state, name, meaning] : cases) {
        app.updateAppState(state, ServiceState::Online);
        EXPECT_EQ(bar.image.name, name);
        EXPECT_EQ(bar.image.meaning, meaning);
    }
}

TEST_F(AppDelegateTest, AFailedStartIsShownUntilAStopSucceeds) {
    launch();
    env.clock.advance(20s);
    app.startServiceCompletedWithStatus(-201);
    EXPECT_EQ(choices(), "stop ");
    app.stopServiceCompletedWithStatus(5);
    app.updateAppState(AppState::NotOnline, ServiceState::Offline);
    EXPECT_EQ(choices(), "stop ");
    app.stopServiceCompletedWithStatus(0);
    app.updateAppState(AppState::NotOnline, ServiceState::Offline);
    EXPECT_EQ(choices(), "start ");
    app.startServiceCompletedWithStatus(0); // begins the grace
    EXPECT_EQ(app.updateAppState(AppState::NotOnline, ServiceState::Offline), ServiceState::Initial);
    EXPECT_THAT(linesWith("completed: "),
                ElementsAre("start service completed: -201", "stop service completed: 5",
                            "stop service completed: 0", "start service completed: 0"));
}

TEST_F(AppDelegateTest, EndsOneOtherInstanceOnceTheServiceWasSeenOnline) {
    instances.processes = {getpid(), 4711, 4712};
    launch();
    env.loop.advance(1s);
    EXPECT_THAT(instances.terminated, IsEmpty());
    app.updateAppState(AppState::Online, ServiceState::Online);
    env.loop.advance(499ms);
    EXPECT_THAT(instances.terminated, IsEmpty());
    env.loop.advance(1ms);
    app.updateAppState(AppState::NotOnline, ServiceState::Paused);
    app.updateAppState(AppState::Online, ServiceState::Online);
    env.loop.advance(1s);
    EXPECT_THAT(instances.terminated, ElementsAre(4711));
    EXPECT_EQ(linesWith("Another running KvnGUIAgent instance found, sending terminate event").size(), 1U);
}

TEST_F(AppDelegateTest, TheHotKeyBringsTheHiddenItemBack) {
    env.settings.setShowStatusBarMenu(true);
    launch();
    ASSERT_NE(bar.menu, nullptr);
    std::get<host::MenuItem>(bar.menu->back()).action();
    EXPECT_EQ(bar.menu, nullptr);
    EXPECT_EQ(hotKeys.handler(host::HotKeys::kReleased), 0);
    EXPECT_EQ(bar.menu, nullptr);
    EXPECT_EQ(hotKeys.handler(host::HotKeys::kPressed), 0);
    EXPECT_NE(bar.menu, nullptr);
    EXPECT_EQ(hotKeys.handler(4), -9874);
}

TEST_F(AppDelegateTest, SIGTERMEndsTheLoop) {
    launch();
    env.loop.post([this] { EXPECT_TRUE(env.loop.fireSignal(SIGTERM)); });
    env.loop.run();
    app.applicationWillTerminate();
    EXPECT_THAT(linesWith("erminat"), ElementsAre("Terminating agent: com.korvane.remote.KvnGUIAgent",
                                                  "Application will terminate: KvnGUIAgent"));
}

class ToolsLinkTest : public Application {
protected:
    const fs::path applications = home() + "/Applications";
    const fs::path link = applications / "KvnRemotedTools";
};

TEST_F(ToolsLinkTest, IsMadeAndReplacesAFolderButNothingElse) {
    const std::string tools = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/tools";
    verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), tools);

    fs::remove(link);
    fs::create_directories(link / "old");
    verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), tools);

    fs::remove(link);
    fs::create_symlink("/elsewhere", link);
    verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), "/elsewhere");

    fs::remove(link);
    writeFile(link.string(), "mine");
    verifyKvnRemoteToolsLink();
    EXPECT_EQ(readFile(link.string()), "mine");
    EXPECT_THAT(linesWith("Failed to create"), IsEmpty());
}

TEST_F(ToolsLinkTest, AHomeThatIsMissingIsTold) {
    fs::remove_all(home());
    verifyKvnRemoteToolsLink();
    EXPECT_THAT(
        linesWith("Failed to create user specific Applications folder: "),
        ElementsAre(testing::EndsWith("/Users/alice/Applications, error: No such file or directory")));
}

} // namespace
} // namespace kvn::test
