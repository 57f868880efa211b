// SPDX-License-Identifier: MIT

#include "agent/PermissionDialog.h"
#include "tests/support/Test.h"

#include "tests/unit/agent/ApplicationFixture.h"

namespace kvn::test {
namespace {

class PermissionDialogTest : public Application {
protected:
    void grantOwn() {
        privacy.trusted = true;
        privacy.windows = {{"Mail", 0, 1}};
    }
    void answer(const char* accessibility, const char* recording,
                const std::string& name = "com.korvane.remote.Permissions") {
        notifications.observers.at(0).handler(
            {name, "", {{"accessibility", accessibility}, {"recording", recording}}});
    }
    /// The lines that have a button which asks for their permission.
    std::vector<std::string> requestButtons() const {
        std::vector<std::string> ids;
        for (const host::DialogLine& line : ui.permissions.lines) {
            const auto* button = std::get_if<host::DialogButton>(&line.control);
            if (button && button->title == "RequestPermission") {
                EXPECT_NE(line.text, "");
                ids.push_back(line.id);
            }
        }
        return ids;
    }
    void press(const std::string& title) {
        for (const auto& button : ui.permissions.all<host::DialogButton>()) {
            if (button.title == title) {
                return button.onPress();
            }
        }
        FAIL() << "no button " << title;
    }

    bool terminated = false;
    PermissionDialog panel{environment, [this] { terminated = true; }};
};

TEST_F(PermissionDialogTest, PopsUpTwiceWithoutTheKeyboardWhileAPermissionIsMissing) {
    panel.checkPermissions();
    EXPECT_EQ(ui.permissions.shows, 0); // the very first check only begins to watch
    for (int i = 0; i < 4; ++i) {
        ui.permissions.close();
        env.loop.advance(10s);
    }
    EXPECT_EQ(ui.permissions.shows, 2);
    EXPECT_FALSE(ui.permissions.place.takesKeyboard);
    panel.showPermissions();
    EXPECT_TRUE(ui.permissions.place.takesKeyboard);
}

TEST_F(PermissionDialogTest, OffersOneRequestAtATime) {
    panel.showPermissions();
    EXPECT_THAT(requestButtons(), ElementsAre("preAccessibility"));
    answer("1", "0");
    EXPECT_THAT(requestButtons(), ElementsAre("preRecording"));
    answer("4", "1"); // 4 leaves the state as it is
    answer("1", "4");
    EXPECT_THAT(requestButtons(), ElementsAre("guiAccessibility"));
    privacy.trusted = true;
    press("RequestPermission");
    EXPECT_EQ(privacy.prompts, 1);
    env.loop.advance(10s);
    EXPECT_THAT(requestButtons(), ElementsAre("guiRecording"));
    press("RequestPermission");
    EXPECT_EQ(privacy.captureRequests, 1);
    grantOwn();
    env.loop.advance(10s);
    EXPECT_THAT(requestButtons(), IsEmpty());
    EXPECT_THAT(ui.machine.opened, IsEmpty());
}

TEST_F(PermissionDialogTest, AsksThePreLoginAgentThroughItsProgram) {
    panel.showPermissions();
    press("RequestPermission");
    answer("1", "0");
    press("RequestPermission");
    const std::string agent = Kvs::FSysInfoPaths::underRoot(
        "/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/Contents/MacOS/"
        "KvnPreLoginAgent");
    EXPECT_THAT(ui.machine.opened, ElementsAre(agent + " -requestAccessibilityPermission",
                                               agent + " -requestRecordingPermission"));
}

TEST_F(PermissionDialogTest, ObservesAnswersUnderOneNameAndAcceptsThemUnderAnother) {
    const std::string observed = "com.korvane.remote.PermissionInfo";
    EXPECT_EQ(notifications.observers.at(0).name, observed);
    panel.showPermissions();
    answer("1", "1", observed);
    EXPECT_THAT(requestButtons(), ElementsAre("preAccessibility"));
    EXPECT_TRUE(env.log.contains("Ignoring notification: " + observed +
                                 " with info: {accessibility = 1; recording = 1}"));
    answer("nonsense", "7"); // counts as 0; a state without a meaning
    EXPECT_THAT(requestButtons(), ElementsAre("preAccessibility"));
    EXPECT_TRUE(env.log.contains("Updating permissions, PreLogin accessibilty=0, recordind=7;"));
}

TEST_F(PermissionDialogTest, LeavesTimeBetweenTwoPreLoginChecks) {
    const auto check = [&](std::chrono::milliseconds later) {
        env.clock.advance(later);
        panel.checkPermissions();
        return toolQueue.runAll();
    };
    const std::pair<std::chrono::milliseconds, std::size_t> cases[] = {
        {0ms, 1}, {2999ms, 0}, {1ms, 1}, {6s, 1}, {6001ms, 1}};
    for (const auto& [later, runs] : cases) {
        EXPECT_EQ(check(later), runs) << later.count();
        ui.permissions.visible = true; // an automatic pop-up would forget the last check
    }
    EXPECT_THAT(env.log.linesWith("received no answer for previous request"), SizeIs(1));
    EXPECT_THAT(env.log.linesWith("verifyPreLoginPermissions failed with error: No such file"), SizeIs(4));
}

TEST_F(PermissionDialogTest, EndsTheAgentWhenItClosesAfterTheSystemSettingsWereOpened) {
    panel.showPermissions();
    press("OpenAccessibilitySettings");
    panel.showPermissions(); // forgets it
    ui.permissions.close();
    env.loop.runPending();
    EXPECT_FALSE(terminated);
    panel.showPermissions();
    EXPECT_NE(ui.permissions.lines.back().text, "PermissionsClosingEndsAgent");
    EXPECT_THAT(ui.messages, IsEmpty());
    press("OpenRecordingSettings");
    EXPECT_EQ(ui.permissions.lines.back().text, "PermissionsClosingEndsAgent");
    ui.permissions.close();
    EXPECT_FALSE(terminated);
    EXPECT_THAT(ui.messages, ElementsAre("PermissionsAgentEnds"));
    env.loop.runPending();
    EXPECT_TRUE(terminated);
    EXPECT_THAT(ui.machine.opened,
                ElementsAre("x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility",
                            "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture"));
}

TEST_F(PermissionDialogTest, TakesTheNameOfAForeignWindowAsTheRightToRecordTheScreen) {
    const PrivacyChecks checks(privacy, env.system);
    const std::pair<host::ScreenWindow, bool> cases[] = {
        {{"Mail", 0, 1}, true},
        {{"Wallpaper", -2147483623, 1}, true},
        {{"Below", -2147483624, 1}, false},
        {{"Menu bar", 24, 1}, false},
        {{"Dock", -20, 1}, false},
        {{"Panel", 25, 1}, true},
        {{std::nullopt, 0, 1}, false},
        {{"Own", 0, getpid()}, false},
    };
    for (const auto& [window, proves] : cases) {
        privacy.windows = {{window}};
        EXPECT_EQ(checks.haveCaptureScreenPermission(), proves) << window.name.value_or("");
    }
    privacy.windows = std::nullopt;
    EXPECT_FALSE(checks.haveCaptureScreenPermission());
}

} // namespace
} // namespace kvn::test
