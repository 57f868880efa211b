// SPDX-License-Identifier: MIT

#include "remote/platform/RemoteServiceConnector.h"
#include "remote/platform/ClientArguments.h"
#include "tests/support/Test.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

namespace kvn::test {
namespace {

using testing::Return;

struct MockDelegate : RemoteServiceConnectorDelegate {
    using Connector = RemoteServiceConnector;
    MOCK_METHOD(void, serviceConnectorReceivedAgentRegistrationResult, (Connector&, const OFRRequestResult&),
                (override));
    MOCK_METHOD(void, serviceConnectorFailedWithError, (Connector&, std::int32_t, const std::string&),
                (override));
    MOCK_METHOD(void, serviceConnectorLostConnection, (Connector&), (override));
    MOCK_METHOD(bool, serviceConnectorShouldHandleLaunchRequest,
                (Connector&, const std::string&, const std::vector<std::string>&), (override));
    MOCK_METHOD(void, updateStatus, (), (override));
};

class RemoteServiceConnectorTest : public testing::Test {
protected:
    RemoteServiceConnectorTest() {
        ON_CALL(delegate, serviceConnectorShouldHandleLaunchRequest).WillByDefault(Return(true));
    }
    ~RemoteServiceConnectorTest() override { connector->close(); }

    void execute(const std::string& executable) {
        connector->processCommand({0, "ExecuteProcess", executable, " /sessionid:123 /transferlog:on"});
    }

    AgentEnvironment env;
    testing::NiceMock<MockDelegate> delegate;
    LaunchLimit limit{env.loop, env.clock};
    std::shared_ptr<RemoteServiceConnector> connector =
        std::make_shared<RemoteServiceConnector>(env.connector, delegate, limit);
};

TEST_F(RemoteServiceConnectorTest, CallsNoHandlerAfterItWasClosed) {
    FakeService service(answerAsOnlineService);
    connector->requestServiceStatus([](const auto*, std::int32_t) { ADD_FAILURE(); });
    ASSERT_TRUE(waitUntil([&] { return env.loop.scheduledCount() == 1; })); // the answer is posted
    connector->close();
    env.loop.runPending();
}

TEST_F(RemoteServiceConnectorTest, EachAnswerReachesItsHandlerOnceUnlessTooManyRequestsFollowed) {
    FakeService service;
    std::vector<std::string> answers;
    for (int i = 1; i <= 257; ++i) {
        connector->requestServiceStatus([&answers, i](const auto* response, std::int32_t result) {
            ASSERT_TRUE(response);
            EXPECT_EQ(result, 0);
            answers.push_back(std::to_string(i) + std::get<OFRServiceInfo>(*response).server);
        });
    }
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 257; }));
    // Forgotten, unprompted, twice the same, and all in one delivery.
    service.push("<Status RequestData=\"1\"/><Status RequestData=\"999\"/> \n"
                 "<Status RequestData=\"3\" Server=\"a\"/><Status RequestData=\"3\" Server=\"b\"/><Status/>"
                 "<Status RequestData=\"2\"/><Status RequestData=\"257\"/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return answers.size() >= 3; }));
    EXPECT_THAT(answers, ElementsAre("3a", "2", "257"));
}

TEST_F(RemoteServiceConnectorTest, LaunchesTheClientAfterADelayAndReportsIt) {
    FakeService service;
    EXPECT_CALL(delegate, updateStatus).Times(2);
    const std::vector<std::string> arguments{"-sid:123", "-transferlog:on"};
    const std::tuple<std::chrono::seconds, std::string, std::chrono::milliseconds, std::string> cases[] = {
        {90s, "\"/opt/client\"", 1s, "/opt/client"},
        {89s, "/C.app", 12s, "/C.app/Contents/MacOS/Inner"},
    };
    for (const auto& [upTime, executable, delay, launched] : cases) {
        env.system.up = upTime;
        execute(executable);
        env.loop.advance(delay - 1ms);
        EXPECT_THAT(env.runner.launched, IsEmpty());
        env.loop.advance(1ms);
        EXPECT_THAT(std::exchange(env.runner.launched, {}), ElementsAre(std::pair(launched, arguments)));
    }
    EXPECT_TRUE(env.log.contains("Started: /opt/client procId: 4300, args: (-sid:123, -transferlog:on)"));
    EXPECT_TRUE(waitUntil([&] { return service.count("<ClientLauched ProcessID=\"4300\"") == 2; }));
    EXPECT_EQ(env.preferences.stringForKey("LastClientProcessInfo"), "4300|100008|alice");

    env.runner.fails = true;
    execute("/opt/fails");
    EXPECT_CALL(delegate, serviceConnectorShouldHandleLaunchRequest(_, "/opt/refused", arguments))
        .WillOnce(Return(false));
    execute("/opt/refused");
    env.loop.advance(1min);
    EXPECT_THAT(env.runner.launched, ElementsAre(std::pair("/opt/fails", arguments)));
}

TEST_F(RemoteServiceConnectorTest, CarriesOutAtMostThirtyTwoLaunchesInTenMinutes) {
    FakeService service;
    connector->requestServiceStatus({});
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    for (int i = 0; i < 50; ++i) {
        service.push("<ServiceCommand Command=\"ExecuteProcess\" Executable=\"/opt/client\"/>");
    }
    ASSERT_TRUE(waitUntil([&] { return env.log.count("Processing command") == 50; }));
    connector->close();
    EXPECT_EQ(env.toolQueue.runAll(), 1U) << "the display is woken once";
    connector = std::make_shared<RemoteServiceConnector>(env.connector, delegate, limit);
    execute("/opt/client");
    env.loop.advance(10min - 1ms);
    EXPECT_EQ(env.runner.launched.size(), 32U);
    EXPECT_EQ(env.log.count("Too many launch requests"), 1U);
    EXPECT_EQ(env.log.count("Dropped launch requests"), 0U);
    env.loop.advance(1ms);
    EXPECT_EQ(env.log.linesWith("Dropped launch requests"),
              std::vector<std::string>{"Dropped launch requests: 19"});
    execute("/opt/client");
    env.loop.advance(1s);
    EXPECT_EQ(env.runner.launched.size(), 33U);
    EXPECT_EQ(env.toolQueue.runAll(), 1U);
}

TEST(ClientArgumentsTest, SplitsOutsideQuotesAndRewrites) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {" \t ", {}},
        {"/sessionid:123 \"/remoteuser:John Smith\" /transferlog:on",
         {"-sid:123", "\"-sessionclientname:John Smith\"", "-transferlog:on"}},
        {"  a\t\tb  ", {"a", "b"}},
        {"/proxyconfig:/sessionid:1", {"-proxyconfig:-sid:1"}},
        {"x\"a b\"y z", {"x\"a b\"y", "z"}},
        {"\"never closed a b", {"\"never closed a b"}},
        {"a\xC2\xA0"
         "b\xE3\x80\x80 c\xE2\x80\x8A",
         {"a", "b", "c"}},
        {"/SessionId:1", {"/SessionId:1"}},
        {"B\xC3\xBCro \xE6\x97\xA5", {"B\xC3\xBCro", "\xE6\x97\xA5"}},
    };
    for (const auto& [parameters, arguments] : cases) {
        EXPECT_EQ(clientArguments(parameters), arguments) << parameters;
    }
}

} // namespace
} // namespace kvn::test
