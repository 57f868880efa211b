#include "agent/GUIAgentController.h"

#include "tests/support/FakeService.h"
#include "tests/unit/agent/ApplicationFixture.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingObserver : public AgentObserver {
public:
    void statusShown(const std::string& text, const OFRServiceInfo* details) override {
        shown.push_back(text + (details ? " " + details->server : ""));
    }
    void commandCompleted(const std::string&, std::int32_t, const std::string&) override {}
    void requestFailed(const std::string&) override {}

    std::vector<std::string> shown;
};

class GUIController : public Application {
protected:
    GUIController() { app.applicationDidFinishLaunching(); }

    /// Polls until that many more answers were shown.
    testing::AssertionResult poll() {
        const auto known = observer.shown.size();
        env.loop.advance(5s);
        return env.loop.runUntil([&] { return observer.shown.size() > known; }) ? testing::AssertionSuccess()
                                                                                : testing::AssertionFailure();
    }
    void become(const std::string& next) {
        const std::lock_guard<std::mutex> guard(mutex_);
        state_ = next;
    }
    std::string answerTo(const std::string& message) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return "<RequestResult RequestData=\"1\" StatusCode=\"0\"/><Status RequestData=\"" +
               requestIdIn(message) + "\" Server=\"relay\" RemoteRegistrationName=\"Office\" " + state_ +
               "/>";
    }

    RecordingObserver observer;

private:
    std::mutex mutex_;
    std::string state_ = "Value=\"online\"";
};

TEST_F(GUIController, AChangeOfStateIsLoggedOnceAndEveryAnswerShown) {
    app.mainController().showServiceStatus();
    EXPECT_EQ(dialog.all<host::DialogValue>().at(0).text, "StatusInitial"); // the failure of the start
    app.mainController().setObserver(&observer);
    FakeService service([this](const auto& message) { return answerTo(message); });
    env.clock.advance(16s);
    ASSERT_TRUE(poll());
    for (const char* next : {"paused", "online", "offline"}) {
        become(std::string("Value=\"") + next + "\"");
        ASSERT_TRUE(poll()); // a request that was under way may tell the former state once more
        ASSERT_TRUE(poll());
        ASSERT_TRUE(poll());
    }
    EXPECT_GE(std::count(observer.shown.begin(), observer.shown.end(), "StatusPaused relay"), 2);
    observer.shown.erase(std::unique(observer.shown.begin(), observer.shown.end()), observer.shown.end());
    observer.shown.erase(observer.shown.begin(), observer.shown.end() - 4);
    EXPECT_THAT(observer.shown, ElementsAre("StatusOnline relay", "StatusPaused relay", "StatusOnline relay",
                                            "StatusOffline relay"));
    EXPECT_THAT(
        linesWith("RemoteService status: Status"),
        testing::IsSupersetOf({"RemoteService status: StatusPaused, server:relay, registration:Office",
                               "RemoteService status: StatusOnline, server:relay, registration:Office",
                               "RemoteService status: StatusOffline, server:relay, "
                               "registration:Office"}));
    EXPECT_EQ(linesWith("RemoteService status: StatusPaused").size(), 1U);
    EXPECT_EQ(bar.image.meaning, host::StatusImage::Meaning::NotConnected);
}

TEST_F(GUIController, ARunningSessionShowsTheControlledIconAndTheDialogItsRows) {
    app.mainController().setObserver(&observer);
    FakeService service([this](const auto& message) { return answerTo(message); });
    ASSERT_TRUE(poll());
    EXPECT_EQ(bar.image.name, "ConnectedStatusIcon");
    app.mainController().showServiceStatus();
    become("Value=\"online\" SubProcessSessions=\"100008\" Version=\"5\" LastError=\"none yet\"");
    env.loop.advance(5s);
    EXPECT_TRUE(env.loop.runUntil([&] { return bar.image.name == "ControlledStatusIcon"; }));
    EXPECT_EQ(dialog.title, "StatusDialogTitle");
    EXPECT_EQ(dialog.place.anchor, host::DialogPlace::Anchor::TopCentre);
    EXPECT_EQ(dialog.place.margin, 32);
    EXPECT_EQ(dialog.place.width, 400);
    EXPECT_EQ(dialog.place.height, 160);
    std::vector<std::string> values;
    for (const auto& line : dialog.lines) {
        if (const auto* value = std::get_if<host::DialogValue>(&line.control)) {
            values.push_back(line.text + "=" + value->text);
        }
    }
    EXPECT_THAT(values, testing::Contains("StatusServerLabel=relay"));
    EXPECT_THAT(values, testing::Contains("StatusRegistrationLabel=Office"));
}

TEST_F(GUIController, PreferencesAreKeptWhenTheWindowClosesIfThePolicyLetsThem) {
    app.mainController().showPreferences();
    EXPECT_EQ(dialog.place.height, 178);
    auto boxes = dialog.all<host::DialogCheckBox>();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_FALSE(boxes[0].enabled); // no policy: nothing may be changed but the menu
    EXPECT_TRUE(boxes[0].checked);
    EXPECT_TRUE(boxes[2].enabled);
    boxes[2].onChange(true);
    EXPECT_TRUE(dialog.all<host::DialogCheckBox>()[2].checked);
    EXPECT_FALSE(env.settings.showStatusBarMenu());
    dialog.close();
    EXPECT_TRUE(env.settings.showStatusBarMenu());
    EXPECT_NE(bar.menu, nullptr);

    const std::string policy =
        Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/config/KorvaneRemoteservice";
    std::filesystem::create_directories(policy);
    writeFile(policy + "/settings.xml", "<Settings><EnableTransferLog>0</EnableTransferLog></Settings>");
    env.settings.updateSettings();
    app.mainController().showPreferences();
    boxes = dialog.all<host::DialogCheckBox>();
    EXPECT_TRUE(boxes[0].enabled);
    boxes[0].onChange(true);
    dialog.all<host::DialogFolder>().at(0).onChange(Kvs::FSysInfoPaths::underRoot("/var/tmp/sessions"));
    dialog.close();
    EXPECT_TRUE(env.settings.transferLogEnabled());
    EXPECT_EQ(env.settings.sessionLogPath(), Kvs::FSysInfoPaths::underRoot("/var/tmp/sessions"));
}

TEST_F(GUIController, TheRemoteAccessIntervalIsShownAndKeptWhereItMayBeChanged) {
    env.preferences.setString("2026-07-23T10:00:00", "RemoteAccessIntervalBegin");
    env.preferences.setString("2026-07-24T10:00:00", "RemoteAccessIntervalEnd");
    env.settings.updateSettings();
    app.mainController().showPreferences();
    EXPECT_EQ(dialog.place.height, 264);
    const auto dates = dialog.all<host::DialogDate>();
    ASSERT_EQ(dates.size(), 2U);
    EXPECT_EQ(dates[1].date - dates[0].date, 24h);
    dates[1].onChange(dates[1].date + 24h);
    dialog.close();
    EXPECT_EQ(env.settings.remoteAccessIntervalEnd(), dates[1].date + 24h);
}

} // namespace
} // namespace kvn::test
