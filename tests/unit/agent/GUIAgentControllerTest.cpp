// SPDX-License-Identifier: MIT

#include "agent/GUIAgentController.h"
#include "tests/support/Test.h"

#include "tests/support/FakeService.h"
#include "tests/unit/agent/ApplicationFixture.h"

namespace kvn::test {
namespace {

using Meaning = host::StatusImage::Meaning;

class GUIController : public Application {
protected:
    GUIController() {
        privacy.guarded = false;
        app.applicationDidFinishLaunching();
        env.clock.advance(16s); // the service counts as offline from now on, not as starting
    }

    /// Polls until the condition holds; each poll may be answered, or not.
    template <class Condition>
    bool pollUntil(Condition condition) {
        for (int polls = 0; polls < 100 && !condition(); ++polls) {
            const auto known = ui.states.size();
            env.loop.advance(5s);
            env.loop.runUntil([&] { return condition() || ui.states.size() > known; }, 200ms);
        }
        return condition();
    }
    /// Polls until an answer tells this state.
    bool becomes(const std::string& state) {
        const auto known = ui.states.size();
        return pollUntil([&] { return ui.states.size() > known && ui.states.back() == state; });
    }
    void writePolicy(const std::string& document) {
        const std::string folder = Kvs::FSysInfoPaths::applicationSupportDirectory() +
                                   "/com.korvane.remote/config/KorvaneRemoteservice";
        fs::create_directories(folder);
        writeFile(folder + "/settings.xml", document);
        env.settings.updateSettings();
    }
    void tell(const std::string& attributes) {
        const std::lock_guard<std::mutex> guard(mutex_);
        attributes_ = attributes;
    }
    std::string answerTo(const std::string& message) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return "<RequestResult RequestData=\"1\" StatusCode=\"0\"/><Status RequestData=\"" +
               requestIdIn(message) + "\" Server=\"relay\" RemoteRegistrationName=\"Office\" " + attributes_ +
               "/>";
    }

private:
    std::mutex mutex_;
    std::string attributes_ = "Value=\"online\"";
};

TEST_F(GUIController, ShowsEveryAnswerAndLogsAChangeOfStateOnce) {
    app.mainController().showServiceStatus();
    EXPECT_EQ(ui.dialog.title, "StatusDialogTitle");
    EXPECT_EQ(ui.dialog.all<host::DialogValue>().at(0).text, "StatusOffline");
    FakeService service([this](const auto& message) { return answerTo(message); });
    ASSERT_TRUE(becomes("StatusOnline"));
    tell("Value=\"paused\"");
    ASSERT_TRUE(becomes("StatusPaused"));
    ASSERT_TRUE(becomes("StatusPaused"));
    EXPECT_EQ(ui.bar.image.meaning, Meaning::NotConnected);
    EXPECT_EQ(ui.bar.image.name, "ConnectedStatusIcon");
    tell("Value=\"online\"");
    ASSERT_TRUE(becomes("StatusOnline"));
    EXPECT_EQ(ui.bar.image.meaning, Meaning::Connected);
    EXPECT_THAT(env.log.linesWith("status: StatusPaused"),
                ElementsAre("RemoteService status: StatusPaused, server:relay, registration:Office"));
    EXPECT_TRUE(env.log.contains("RemoteService status: StatusOnline, server:relay, registration:Office"));

    tell("Value=\"online\" SubProcessSessions=\"100008\" Version=\"5\" LastError=\"none yet\"");
    ASSERT_TRUE(pollUntil([this] { return ui.bar.image.meaning == Meaning::Controlled; }));
    EXPECT_EQ(ui.bar.image.name, "ControlledStatusIcon");
    std::vector<std::string> shown;
    for (const auto& line : ui.dialog.lines) {
        shown.push_back(line.text + "=" + std::get<host::DialogValue>(line.control).text);
    }
    EXPECT_THAT(shown, ElementsAre("StatusStateLabel=StatusOnline", "StatusServerLabel=relay",
                                   "StatusRegistrationLabel=Office", "StatusVersionLabel=5",
                                   "StatusLastErrorLabel=none yet"));
    EXPECT_EQ(app.commands().at("reboot").run(""), "ok: reboot requested");
    EXPECT_TRUE(waitUntil([&] { return service.count("<RebootSystem />") == 1; }));
}

TEST_F(GUIController, PausesTheServiceOnlyWhereThePolicyAllowsIt) {
    FakeService service([this](const auto& message) { return answerTo(message); });
    ASSERT_TRUE(becomes("StatusOnline"));
    for (const char* command : {"pause", "continue"}) {
        EXPECT_EQ(app.commands().at(command).run(""),
                  "error: " + std::string(command) + " is not allowed by the policy");
    }
    writePolicy("<Settings><Pauseable>1</Pauseable></Settings>");
    for (const char* command : {"pause", "continue"}) {
        const auto known = ui.states.size();
        EXPECT_EQ(app.commands().at(command).run(""), "ok: " + std::string(command) + " requested");
        EXPECT_TRUE(env.loop.runUntil([&] { return ui.states.size() > known; })); // before the next poll
    }
    EXPECT_TRUE(waitUntil([&] { return service.count("<Pause />") + service.count("<Continue />") == 2; }));
}

TEST_F(GUIController, KeepsTheDateThatChangedWhenTheDialogCloses) {
    writePolicy("<Settings/>");
    env.preferences.setString("2026-07-23T10:00:00", "RemoteAccessIntervalBegin");
    env.preferences.setString("2026-07-24T10:00:00", "RemoteAccessIntervalEnd");
    env.settings.updateSettings();
    app.mainController().showPreferences();
    const auto dates = ui.dialog.all<host::DialogDate>();
    ASSERT_EQ(dates.size(), 2U);
    dates[1].onChange(dates[0].date + 48h);
    ui.dialog.close();
    EXPECT_TRUE(env.settings.remoteAccessIntervalEnd() == dates[0].date + 48h);
}

TEST_F(GUIController, SavesTheSettingsWheneverTheyAreLeftAndShowsThatItCannot) {
    GUIAgentController& controller = app.mainController();
    const std::function<void()> leaves[] = {[&] { controller.showServiceStatus(); },
                                            [&] { controller.showPreferences(); },
                                            [&] { app.applicationWillTerminate(); }};
    bool shown = false;
    for (const auto& leave : leaves) {
        controller.showPreferences();
        ui.dialog.all<host::DialogCheckBox>().at(2).onChange(shown = !shown);
        leave();
        EXPECT_EQ(env.preferences.stringForKey("ShowStatusBarMenu"), shown ? "1" : "0");
    }

    const std::string registry =
        Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/registry";
    const auto tells = [&] { return ui.dialog.visible && ui.dialog.lines.back().text == "PrefsNotSaved"; };
    fs::remove_all(registry);
    for (const auto& leave : {leaves[0], leaves[1], std::function<void()>([&] { ui.dialog.close(); })}) {
        controller.showPreferences();
        ui.dialog.all<host::DialogCheckBox>().at(2).onChange(!shown);
        EXPECT_FALSE(tells());
        leave();
        env.loop.runPending();
        EXPECT_TRUE(tells());
        EXPECT_EQ(ui.dialog.all<host::DialogCheckBox>().at(2).checked, !shown);
        ui.dialog.close(); // gives the change up
        env.loop.runPending();
        EXPECT_FALSE(ui.dialog.visible);
    }
    controller.showPreferences();
    ui.dialog.all<host::DialogCheckBox>().at(2).onChange(!shown);
    ui.dialog.close();
    env.loop.runPending();
    fs::create_directories(registry);
    ui.dialog.close();
    EXPECT_EQ(env.preferences.stringForKey("ShowStatusBarMenu"), shown ? "0" : "1");
}

} // namespace
} // namespace kvn::test
