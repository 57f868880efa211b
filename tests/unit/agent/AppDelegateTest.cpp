#include "agent/AppDelegate.h"

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
using AppState = AppDelegate::AppState;
using Event = host::Workspace::Event;
namespace fs = std::filesystem;

class AppDelegateTest : public Application {
protected:
    /// The titles, from top to bottom; separators are "-".
    std::vector<std::string> titles() {
        std::vector<std::string> all;
        for (const auto& entry : *ui.bar.menu) {
            const auto* item = std::get_if<host::MenuItem>(&entry);
            all.push_back(item ? item->title : "-");
        }
        return all;
    }
    /// "start" and "stop" as far as they can be chosen.
    std::string choices() {
        app.showStatusBarItem();
        std::string enabled;
        for (const auto& entry : *ui.bar.menu) {
            const auto* item = std::get_if<host::MenuItem>(&entry);
            if (item && item->enabled && (item->title == "start" || item->title == "stop")) {
                enabled += item->title + " ";
            }
        }
        return enabled;
    }
    void launch() {
        const std::string folder =
            Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/config";
        fs::create_directories(folder);
        writeFile(folder + "/language.xml",
                  R"(<L><Language langKey=""><KeyPair key="TRAY_STATUS_FRM_SERVICE" value="Service"/>
                     <KeyPair key="TRAY_STATUS_MNU_LOGFILES" value="Logs"/>
                     <KeyPair key="COMBO_SETTINGS" value="Prefs"/>
                     <KeyPair key="LV_FORM_HIDE" value="Hide"/>
                     <KeyPair key="TRAY_STATUS_MNU_STARTCLIENT" value="start"/>
                     <KeyPair key="TRAY_STATUS_MNU_STOPCLIENT" value="stop"/></Language></L>)");
        app.applicationDidFinishLaunching();
    }
    ServiceState update(ServiceState state) { return app.updateAppState(AppState::NotOnline, state); }
};

TEST_F(AppDelegateTest, StartsUpInItsOrderAndStarting) {
    env.bundle.info = {{"CFBundleShortVersionString", "3.1"}, {"com.korvane.source.revision", "abc"}};
    launch();
    EXPECT_EQ(linesWith("Launched: KvnGUIAgent version: 3.1  (abc) for user: ").size(), 1U);
    EXPECT_EQ(ui.bar.menu, nullptr); // the settings say so
    EXPECT_EQ(choices(), "");
    EXPECT_THAT(titles(), ElementsAre("Service", "Logs", "-", "Prefs", "-", "PermissionsMenuItem", "-",
                                      "start", "stop", "-", "Hide"));
    EXPECT_EQ(linesWith("Starting status timer").size(), 1U);
    EXPECT_EQ(linesWith("Checking permissions").size(), 1U);
    EXPECT_TRUE(app.commands().contains("permissions"));
    EXPECT_EQ(ui.keys.key.code, 126U);
    EXPECT_EQ(ui.keys.key.modifiers, 0x1100U);

    const auto& openPreferences = notifications.observers.back();
    EXPECT_EQ(openPreferences.name, "com.korvane.remote.ShowGUIAgentSettings");
    EXPECT_EQ(openPreferences.object, "com.korvane.remote.GUIAgentSettings");
    openPreferences.handler({});
    EXPECT_EQ(ui.dialog.title, "SettingsDialogTitle");
}

TEST_F(AppDelegateTest, OldSystemsHaveNoPermissionsItem) {
    env.system.release = {10, 13, 6};
    ui.keys.result = -9868;
    launch();
    app.showStatusBarItem();
    EXPECT_THAT(titles(), ElementsAre("Service", "Logs", "-", "Prefs", "-", "start", "stop", "-", "Hide"));
    EXPECT_THAT(linesWith("HotKey"), ElementsAre("InstallApplicationEventHandler for HotKey failed: -9868",
                                                 "RegisterEventHotKey failed: -9868"));
}

TEST_F(AppDelegateTest, ASystemWithoutGuardedPrivacyHasNoPermissions) {
    privacy.guarded = false;
    launch();
    app.mainController().showPermissions();
    env.loop.advance(1min);
    app.showStatusBarItem();
    EXPECT_THAT(titles(), ElementsAre("Service", "Logs", "-", "Prefs", "-", "start", "stop", "-", "Hide"));
    EXPECT_FALSE(app.commands().contains("permissions"));
    EXPECT_EQ(ui.permissions.shows, 0);
    EXPECT_EQ(toolQueue.runAll(), 0);
    EXPECT_THAT(linesWith("ermission"), IsEmpty());
    EXPECT_THAT(linesWith("capture"), IsEmpty());
}

TEST_F(AppDelegateTest, TheStateFollowsTheReportTheAgeAndTheLastStart) {
    launch();
    const struct {
        std::chrono::milliseconds age;
        int reported;
        int shown;
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
        ui.machine.announce(Event::WillSleep);
        ui.machine.announce(Event::DidWake); // begins the grace anew
        env.clock.advance(c.age);
        EXPECT_EQ(update(ServiceState{c.reported}), ServiceState{c.shown}) << c.reported;
        EXPECT_EQ(choices(), c.choices) << c.reported;
    }
}

TEST_F(AppDelegateTest, TheIconFollowsTheState) {
    using Meaning = host::StatusImage::Meaning;
    launch();
    const std::tuple<AppState, Meaning, const char*> cases[] = {
        {AppState::Controlled, Meaning::Controlled, "ControlledStatusIcon"},
        {AppState::Online, Meaning::Connected, "ConnectedStatusIcon"},
        {AppState::NotOnline, Meaning::NotConnected, "ConnectedStatusIcon"},
    };
    for (const auto& [state, meaning, name] : cases) {
        app.updateAppState(state, ServiceState::Online);
        EXPECT_EQ(ui.bar.image.meaning, meaning);
        EXPECT_EQ(ui.bar.image.name, name);
    }
}

TEST_F(AppDelegateTest, AFailedStartIsShownUntilAStopSucceeds) {
    launch();
    env.clock.advance(20s);
    app.startServiceCompletedWithStatus(-201);
    EXPECT_EQ(choices(), "stop ");
    app.stopServiceCompletedWithStatus(5);
    update(ServiceState::Offline);
    EXPECT_EQ(choices(), "stop ");
    app.stopServiceCompletedWithStatus(0);
    update(ServiceState::Offline);
    EXPECT_EQ(choices(), "start ");
    app.startServiceCompletedWithStatus(0); // begins the grace
    EXPECT_EQ(update(ServiceState::Offline), ServiceState::Initial);
    EXPECT_THAT(linesWith("completed: "),
                ElementsAre("start service completed: -201", "stop service completed: 5",
                            "stop service completed: 0", "start service completed: 0"));
}

TEST_F(AppDelegateTest, EndsOneOtherInstanceOnceTheServiceWasSeenOnline) {
    instances.processes = {getpid(), 4711, 4712};
    launch();
    env.loop.advance(1s);
    app.updateAppState(AppState::Online, ServiceState::Online);
    env.loop.advance(499ms);
    EXPECT_THAT(instances.terminated, IsEmpty());
    env.loop.advance(1ms);
    update(ServiceState::Paused);
    app.updateAppState(AppState::Online, ServiceState::Online);
    env.loop.advance(1s);
    EXPECT_THAT(instances.terminated, ElementsAre(4711));
    EXPECT_EQ(linesWith("Another running KvnGUIAgent instance found, sending terminate event").size(), 1U);
}

TEST_F(AppDelegateTest, TheHotKeyBringsTheHiddenItemBack) {
    env.settings.setShowStatusBarMenu(true);
    launch();
    ASSERT_NE(ui.bar.menu, nullptr);
    std::get<host::MenuItem>(ui.bar.menu->back()).action();
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kReleased), 0);
    EXPECT_EQ(ui.bar.menu, nullptr);
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kPressed), 0);
    EXPECT_NE(ui.bar.menu, nullptr);
    EXPECT_EQ(ui.keys.handler(4), -9874);
}

TEST_F(AppDelegateTest, TheSystemEndsItBySIGTERMAndAtTheEndOfTheSession) {
    launch();
    const std::function<void()> ends[] = {[this] { env.loop.fireSignal(SIGTERM); },
                                          [this] { ui.machine.announce(Event::WillEndSession); }};
    for (const auto& end : ends) {
        env.loop.post(end);
        env.loop.run();
    }
    app.applicationWillTerminate();
    const char* const terminating = "Terminating agent: com.korvane.remote.KvnGUIAgent";
    EXPECT_THAT(linesWith("erminat"),
                ElementsAre(terminating, terminating, "Application will terminate: KvnGUIAgent"));
}

TEST_F(AppDelegateTest, TheToolsLinkReplacesAFolderButNothingElse) {
    const fs::path link = home() + "/Applications/KvnRemotedTools";
    const std::string tools = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/tools";
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), tools);

    fs::remove(link);
    fs::create_directories(link / "old");
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), tools);

    fs::remove(link);
    fs::create_symlink("/elsewhere", link);
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_EQ(fs::read_symlink(link), "/elsewhere");

    fs::remove(link);
    writeFile(link.string(), "mine");
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_EQ(readFile(link.string()), "mine");
    EXPECT_THAT(linesWith("Failed to create"), IsEmpty());

    fs::remove_all(home());
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_THAT(
        linesWith("Failed to create user specific Applications folder: "),
        ElementsAre(testing::EndsWith("/Users/alice/Applications, error: No such file or directory")));
}

} // namespace
} // namespace kvn::test
