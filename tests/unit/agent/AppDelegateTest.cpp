// SPDX-License-Identifier: MIT

#include "agent/AppDelegate.h"
#include "tests/support/Test.h"

#include "tests/unit/agent/ApplicationFixture.h"

namespace kvn::test {
namespace {

using Event = host::Workspace::Event;

class AppDelegateTest : public Application {
protected:
    /// The menu's items from top to bottom: those that cannot be chosen in brackets, separators as "-".
    std::string menu() {
        app.showStatusBarItem();
        std::string text;
        for (const auto& entry : *ui.bar.menu) {
            const auto* item = std::get_if<host::MenuItem>(&entry);
            text += text.empty() ? "" : " ";
            text += !item ? "-" : item->enabled ? item->title : "[" + item->title + "]";
        }
        return text;
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
    ServiceState update(ServiceState state) {
        return app.updateAppState(AppDelegate::AppState::NotOnline, state);
    }
};

TEST_F(AppDelegateTest, TheMenuIsHiddenUntilTheHotKeyOrTheUserShowsIt) {
    env.bundle.info = {{"CFBundleShortVersionString", "3.1"}, {"com.korvane.source.revision", "abc"}};
    launch();
    EXPECT_EQ(env.log.count("Launched: KvnGUIAgent version: 3.1  (abc) for user: "), 1U);
    EXPECT_EQ(ui.bar.menu, nullptr); // the settings say so
    EXPECT_EQ(menu(), "Service Logs - Prefs - PermissionsMenuItem - [start] [stop] - Hide");
    std::get<host::MenuItem>(ui.bar.menu->back()).action();
    EXPECT_FALSE(env.log.contains("HotKey"));
    EXPECT_EQ(ui.keys.key.code, 126U);
    EXPECT_EQ(ui.keys.key.modifiers, 0x1100U);
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kReleased), 0);
    EXPECT_EQ(ui.bar.menu, nullptr);
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kPressed), 0);
    EXPECT_NE(ui.bar.menu, nullptr);
    EXPECT_EQ(ui.keys.handler(4), -9874);
}

TEST_F(AppDelegateTest, AMissingHotKeyIsToldInTheStatus) {
    ui.keys.result = host::HotKeys::kTaken;
    launch();
    EXPECT_TRUE(env.log.contains("RegisterEventHotKey failed: -9878"));
    app.mainController().showServiceStatus();
    EXPECT_EQ(ui.dialog.lines.back().text, "HotKeyMissing");
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kGranted), 0);
    EXPECT_EQ(ui.dialog.lines.back().id, "StatusStateLabel");
    EXPECT_EQ(ui.keys.handler(host::HotKeys::kRefused), 0);
    EXPECT_EQ(ui.dialog.lines.back().text, "HotKeyMissing");
}

TEST_F(AppDelegateTest, NoticesAreAboutTheSessionAndTheService) {
    using State = AppDelegate::AppState;
    launch();
    app.updateAppState(State::Online, ServiceState::Online);
    app.updateAppState(State::Controlled, ServiceState::Online);
    for (int i = 0; i < 2; ++i) { // the second time without a notice
        update(ServiceState::Offline);
        env.clock.advance(61s);
        update(ServiceState::Offline);
        app.updateAppState(State::Online, ServiceState::Online);
        update(ServiceState::Offline);
        app.stopServiceCompletedWithStatus(0);
        ui.machine.announce(Event::WillSleep);
        ui.machine.announce(Event::DidWake);
    }
    EXPECT_THAT(ui.notices,
                ElementsAre("NoticeSession: NoticeSessionBegan", "NoticeService: NoticeServiceAway",
                            "NoticeService: NoticeServiceBack", "NoticeSession: NoticeSessionEnded"));
}

TEST_F(AppDelegateTest, ASystemWithoutGuardedPrivacyHasNoPermissions) {
    privacy.guarded = false;
    launch();
    EXPECT_EQ(menu(), "Service Logs - Prefs - [start] [stop] - Hide");
    app.mainController().showPermissions();
    env.loop.advance(1min);
    EXPECT_FALSE(app.commands().contains("permissions"));
    EXPECT_EQ(ui.permissions.shows, 0);
    EXPECT_EQ(toolQueue.runAll(), 0U);
    EXPECT_FALSE(env.log.contains("ermission") || env.log.contains("capture"));
}

TEST_F(AppDelegateTest, TheStateFollowsTheReportTheAgeAndTheLastStart) {
    launch();
    const struct {
        std::chrono::milliseconds age;
        int reported;
        int shown;
        const char* items;
    } cases[] = {
        {10s, 1, 3, "[start] [stop]"},   // an early offline report is not believed
        {15s, 1, 3, "[start] [stop]"},   // up to the last moment
        {15001ms, 1, 1, "start [stop]"}, // then it is
        {15s, 3, 3, "[start] [stop]"},   {20s, 3, 1, "start [stop]"}, // a start that never completed
        {0s, 0, 0, "[start] stop"},      {20s, 2, 2, "[start] [stop]"},
        {20s, 77, 77, "start [stop]"},   {20s, 4, 4, "[start] stop"}, // the start failed
        {20s, 1, 1, "[start] stop"}, // and offline changes nothing about that
        {10s, 1, 3, "[start] stop"}, // nor do the two cases of the grace
        {20s, 3, 1, "[start] stop"},     {20s, 0, 0, "[start] stop"}, // until the service is online
        {20s, 1, 1, "start [stop]"},
    };
    for (const auto& c : cases) {
        ui.machine.announce(Event::WillSleep);
        ui.machine.announce(Event::DidWake); // begins the grace anew
        env.clock.advance(c.age);
        EXPECT_EQ(update(ServiceState{c.reported}), ServiceState{c.shown}) << c.reported;
        EXPECT_THAT(menu(), HasSubstr(c.items)) << c.reported;
    }
}

TEST_F(AppDelegateTest, EndsOneOtherInstanceOnceTheServiceWasSeenOnline) {
    instances.processes = {getpid(), 4711, 4712};
    launch();
    update(ServiceState::Online);
    env.loop.advance(499ms);
    EXPECT_THAT(instances.terminated, IsEmpty());
    env.loop.advance(1ms);
    update(ServiceState::Online);
    env.loop.advance(1s);
    EXPECT_THAT(instances.terminated, ElementsAre(4711));
    app.applicationWillTerminate();
    EXPECT_THAT(ui.messages, ElementsAre("OtherAgentEnded", "OtherAgentMissing"));
}

TEST_F(AppDelegateTest, TheSystemEndsItAtTheEndOfTheSession) {
    launch();
    env.loop.post([this] { ui.machine.announce(Event::WillEndSession); });
    env.loop.run();
    EXPECT_TRUE(env.log.contains("Terminating agent: com.korvane.remote.KvnGUIAgent"));
    EXPECT_EQ(ui.bar.menu, nullptr) << "an open menu would keep the loop of macOS from ending";
}

TEST_F(AppDelegateTest, TheToolsLinkReplacesAFolderButNothingElse) {
    const fs::path link = home() + "/Applications/KvnRemotedTools";
    const std::string tools = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/tools";
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] {}, tools},
        {[&] { fs::create_directories(link / "old"); }, tools},
        {[&] { fs::create_symlink("/elsewhere", link); }, "/elsewhere"},
    };
    for (const auto& [prepare, target] : cases) {
        fs::remove(link);
        prepare();
        AppDelegate::verifyKvnRemoteToolsLink();
        EXPECT_EQ(fs::read_symlink(link), target);
    }
    fs::remove(link);
    writeFile(link.string(), "mine");
    AppDelegate::verifyKvnRemoteToolsLink();
    EXPECT_EQ(readFile(link.string()), "mine");
    EXPECT_THAT(env.log.linesWith("Failed to create"), IsEmpty());
}

} // namespace
} // namespace kvn::test
