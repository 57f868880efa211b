// SPDX-License-Identifier: MIT

#include "remote/platform/AgentController.h"
#include "tests/support/Test.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

namespace kvn::test {
namespace {

struct RecordingDelegate : AgentControllerDelegate {
    void notifyServiceStatus(const OFRServiceInfo* info) override {
        statuses.push_back(info ? std::optional(info->status) : std::nullopt);
    }
    void notifyRequestFailedWithError(const std::string&, std::int32_t) override {}

    std::vector<std::optional<ServiceState>> statuses;
};

class AgentControllerTest : public testing::Test {
protected:
    AgentControllerTest() { controller.setControllerDelegate(&delegate); }

    bool waitForLines(const std::string& text, std::size_t count = 1) {
        return env.loop.runUntil([&] { return env.log.count(text) == count; });
    }
    bool waitForStatuses(std::size_t count) {
        return env.loop.runUntil([&] { return delegate.statuses.size() == count; });
    }

    AgentEnvironment env;
    RecordingDelegate delegate;
    AgentController controller{env.connector};
};

TEST_F(AgentControllerTest, RegistersAndPollsEveryFiveSecondsUntilItIsStopped) {
    FakeService service(answerAsOnlineService);
    controller.start();
    ASSERT_TRUE(waitForLines("Service agent registered."));
    ASSERT_TRUE(waitForStatuses(1));
    for (std::size_t polls = 2; polls <= 3; ++polls) {
        env.loop.advance(4999ms);
        EXPECT_EQ(service.count("GetStatus"), polls - 1);
        env.loop.advance(1ms);
        ASSERT_TRUE(waitForStatuses(polls));
        EXPECT_EQ(delegate.statuses.back(), ServiceState::Online);
    }
    EXPECT_EQ(service.count("<RegisterAgent"), 1U);
    controller.start();
    EXPECT_EQ(env.log.count("Status timer already started"), 1U);

    controller.stop();
    EXPECT_TRUE(waitUntil([&] { return service.count("<UnregisterAgent") == 1; }));
    env.loop.advance(1min);
    controller.requestServiceStatus();
    EXPECT_EQ(service.count("GetStatus"), 3U);
    EXPECT_EQ(env.loop.scheduledCount(), 0U);

    controller.start();
    EXPECT_TRUE(waitForLines("Service agent registered.", 2));
}

TEST_F(AgentControllerTest, ARegistrationThatIsNotConfirmedIsRepeatedByTheFirstPollAfterThreeSeconds) {
    FakeService service([](const std::string& message) {
        const bool first = message.find("RequestData=\"1\"") != message.npos;
        return first ? "<RequestResult RequestData=\"1\" StatusCode=\"5\"/>" : "";
    });
    controller.start();
    ASSERT_TRUE(waitForLines("Service agent registeration failed, status: 5"));
    for (const std::size_t repeated : {0U, 1U}) {
        env.loop.advance(repeated ? 1ms : 3s);
        controller.requestServiceStatus();
        EXPECT_EQ(env.log.count("Reregistering service agent..."), repeated);
    }
}

TEST_F(AgentControllerTest, WithoutAServiceTriesEveryFiveSeconds) {
    controller.start();
    env.loop.runPending();
    EXPECT_TRUE(
        env.log.contains("RemoteServiceConnector reported error: -2147483648, registerServiceAgent failed."));
    EXPECT_EQ(delegate.statuses.back(), std::nullopt);
    env.loop.advance(1min);
    EXPECT_EQ(env.log.count("registering service agent..."), 12U);
    EXPECT_LE(env.loop.scheduledCount(), 2U); // the poll and one rebuild

    FakeService service(answerAsOnlineService);
    env.loop.advance(5s);
    EXPECT_TRUE(waitForLines("Service agent registered."));
}

} // namespace
} // namespace kvn::test
