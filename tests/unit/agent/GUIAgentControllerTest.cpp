#include "agent/GUIAgentController.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class RecordingView : public ServiceStatusView {
public:
    void showStatus(const std::string& text, const OFRServiceInfo* details) override {
        shown.push_back(text + (details ? " " + details->server : ""));
    }

    std::vector<std::string> shown;
};

class GUIController : public testing::Test {
protected:
    std::vector<std::string> linesWith(const std::string& text) const {
        std::vector<std::string> found = env.log.lines();
        std::erase_if(found, [&](const auto& line) { return line.find(text) == line.npos; });
        return found;
    }
    /// Polls until that many more answers were shown.
    testing::AssertionResult poll() {
        const auto known = view.shown.size();
        env.loop.advance(5s);
        return env.loop.runUntil([&] { return view.shown.size() > known; }) ? testing::AssertionSuccess()
                                                                            : testing::AssertionFailure();
    }

    AgentEnvironment env;
    RecordingView view;
    GUIAgentController controller{env.connector, env.clock, &view};
};

TEST_F(GUIController, AChangeOfStateIsLoggedOnceAndEveryAnswerShown) {
    std::mutex mutex;
    std::string state = "online";
    const auto become = [&](const char* next) {
        const std::lock_guard<std::mutex> guard(mutex);
        state = next;
    };
    FakeService service([&](const std::string& message) {
        const std::lock_guard<std::mutex> guard(mutex);
        return "<RequestResult RequestData=\"1\" StatusCode=\"0\"/><Status Value=\"" + state +
               "\" RequestData=\"" + requestIdIn(message) +
               "\" Server=\"relay\" RemoteRegistrationName=\"Office\"/>";
    });
    controller.showServiceStatus();
    EXPECT_THAT(view.shown, ElementsAre("StatusPending"));
    controller.start();
    ASSERT_TRUE(env.loop.runUntil([&] { return view.shown.size() == 2; }));
    for (const char* next : {"paused", "paused", "online", "offline"}) {
        become(next);
        ASSERT_TRUE(poll());
    }
    EXPECT_THAT(view.shown, ElementsAre("StatusPending", "StatusOnline relay", "StatusPaused relay",
                                        "StatusPaused relay", "StatusOnline relay", "StatusOffline relay"));
    EXPECT_THAT(linesWith("RemoteService status: "),
                ElementsAre("RemoteService status: StatusPaused, server:relay, registration:Office",
                            "RemoteService status: StatusOnline, server:relay, registration:Office",
                            "RemoteService status: StatusOffline, server:relay, registration:Office"));
    controller.showServiceStatus(); // asks, and shows what is known
    EXPECT_EQ(view.shown.back(), "StatusOffline relay");
}

TEST_F(GUIController, AnAbsentServiceIsOfflineAndItsFailureHasNoNumber) {
    controller.start();
    env.loop.runPending();
    EXPECT_EQ(view.shown.back(), "StatusOffline");
    EXPECT_THAT(linesWith("RemoteService status: "), ElementsAre("RemoteService status: StatusOffline"));
    EXPECT_THAT(linesWith("Failed to get"), ElementsAre("Failed to get RemoteService status."));
    EXPECT_THAT(linesWith("RemoteServiceConnector: "),
                ElementsAre("RemoteServiceConnector: registerServiceAgent failed."));
}

} // namespace
} // namespace kvn::test
