#include "remote/platform/AgentController.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;

class RecordingDelegate : public AgentControllerDelegate {
public:
    void notifyServiceStatus(const OFRServiceInfo* info) override {
        statuses.push_back(info ? std::optional(info->status) : std::nullopt);
    }
    void notifyRequestFailedWithError(const std::string& text, std::int32_t) override {
        failures.push_back(text);
    }

    std::vector<std::optional<ServiceState>> statuses;
    std::vector<std::string> failures;
};

class Controller : public testing::Test {
protected:
    Controller() { controller.setControllerDelegate(&delegate); }

    std::size_t linesWith(const std::string& text) const {
        const auto lines = env.log.lines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const auto& line) { return line.find(text) != line.npos; }));
    }
    bool waitForRegistration(std::size_t times = 1) {
        return env.loop.runUntil([&] { return linesWith("Service agent registered.") >= times; });
    }

    AgentEnvironment env;
    RecordingDelegate delegate;
    AgentController controller{env.connector, env.clock};
};

TEST_F(Controller, RegistersAndPollsEveryFiveSeconds) {
    FakeService service(answerAsOnlineService);
    controller.start();
    ASSERT_TRUE(waitForRegistration());
    ASSERT_TRUE(env.loop.runUntil([&] { return delegate.statuses.size() == 1; }));
    for (std::size_t polls = 2; polls <= 4; ++polls) {
        env.loop.advance(4999ms);
        EXPECT_EQ(service.count("GetStatus"), polls - 1);
        env.loop.advance(1ms);
        ASSERT_TRUE(env.loop.runUntil([&] { return delegate.statuses.size() == polls; }));
    }
    EXPECT_EQ(service.count("<RegisterAgent"), 1U);
    EXPECT_EQ(delegate.statuses, std::vector<std::optional<ServiceState>>(4, ServiceState::Online));

    controller.start();
    EXPECT_EQ(linesWith("Status timer already started"), 1U);
}

TEST_F(Controller, PauseAndContinueReportTheNewStatus) {
    FakeService service([](const std::string& message) {
        const bool paused = message.find("<Pause") != std::string::npos;
        return "<Status Value=\"" + std::string(paused ? "paused" : "online") + "\" RequestData=\"" +
               requestIdIn(message) + "\"/>";
    });
    controller.requestServicePause();
    // "Pause" and its "GetStatus" are two writes, which may arrive apart: either answer has the identifier.
    EXPECT_TRUE(env.loop.runUntil([&] { return !delegate.statuses.empty(); }));
    controller.requestServiceContinue();
    EXPECT_TRUE(env.loop.runUntil([&] { return delegate.statuses.size() == 2; }));
    EXPECT_TRUE(delegate.failures.empty());
}

TEST_F(Controller, AnUnconfirmedRegistrationIsRepeatedByThePollAfterThreeSeconds) {
    FakeService service; // accepts and never answers
    controller.start();
    env.loop.advance(2s);
    controller.requestServiceStatus(); // too early
    EXPECT_EQ(linesWith("registering service agent..."), 0U);
    env.loop.advance(3s);
    EXPECT_EQ(linesWith("Reregistering service agent..."), 1U);
    env.loop.advance(5s);
    EXPECT_EQ(linesWith("Reregistering service agent..."), 2U);
    EXPECT_TRUE(waitUntil([&] { return service.count("<RegisterAgent") == 3; }));
}

TEST_F(Controller, ARefusedRegistrationIsLoggedAndRepeated) {
    FakeService service([](const std::string& message) {
        return "<RequestResult RequestData=\"" + requestIdIn(message.substr(0, message.find("</"))) +
               "\" StatusCode=\"5\"/>";
    });
    controller.start();
    ASSERT_TRUE(
        env.loop.runUntil([&] { return linesWith("Service agent registeration failed, status: 5") == 1; }));
    env.loop.advance(5s);
    EXPECT_EQ(linesWith("Reregistering service agent..."), 1U);
}

TEST_F(Controller, WithoutAServiceOneAttemptIsMadeEveryFiveSeconds) {
    controller.start();
    env.loop.runPending();
    EXPECT_EQ(linesWith("RemoteServiceConnector reported error: -2147483648, registerServiceAgent failed."),
              1U);
    EXPECT_EQ(delegate.statuses.back(), std::nullopt);
    for (std::size_t minute = 1; minute <= 10; ++minute) {
        env.loop.advance(1min);
        EXPECT_EQ(linesWith("registering service agent..."), minute * 12);
    }
    EXPECT_LE(env.loop.scheduledCount(), 2U); // the poll and one rebuild

    FakeService service(answerAsOnlineService);
    env.loop.advance(5s);
    EXPECT_TRUE(waitForRegistration());
}

TEST_F(Controller, RegistersAgainWithAServiceThatCameBack) {
    {
        FakeService service(answerAsOnlineService);
        controller.start();
        ASSERT_TRUE(waitForRegistration());
    }
    ASSERT_TRUE(env.loop.runUntil([&] { return env.log.contains("Connection failed: 54"); }));
    FakeService service(answerAsOnlineService); // back before the next poll could fail
    const auto registeredAgain = [&] { return linesWith("Service agent registered.") == 2; };
    for (int polls = 0; polls < 2 && !registeredAgain(); ++polls) { // the first may overtake the loss
        env.loop.advance(5s);
        env.loop.runUntil(registeredAgain, 1s);
    }
    EXPECT_TRUE(registeredAgain());
    EXPECT_EQ(service.count("<RegisterAgent"), 1U);
}

TEST_F(Controller, StopWithdrawsAndStartRegistersAgain) {
    FakeService service(answerAsOnlineService);
    controller.start();
    ASSERT_TRUE(waitForRegistration());
    controller.stop();
    EXPECT_TRUE(waitUntil([&] { return service.count("<UnregisterAgent") == 1; }));
    const auto polls = service.count("GetStatus");
    env.loop.advance(1min);
    controller.requestServiceStatus();
    EXPECT_EQ(service.count("GetStatus"), polls);
    EXPECT_EQ(env.loop.scheduledCount(), 0U);

    controller.start();
    EXPECT_TRUE(waitForRegistration(2));
    EXPECT_EQ(linesWith("Starting status timer"), 2U);
}

} // namespace
} // namespace kvn::test
