#include "remote/platform/RemoteServiceConnector.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

struct RecordingDelegate : RemoteServiceConnectorDelegate {
    void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector&,
                                                         const OFRRequestResult&) override {}
    void serviceConnectorFailedWithError(RemoteServiceConnector&, std::int32_t code,
                                         const std::string& description) override {
        failures.push_back(description + " " + std::to_string(code));
    }
    void serviceConnectorLostConnection(RemoteServiceConnector&) override {}
    bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector&, const std::string&,
                                                   const std::vector<std::string>&) override {
        return launches;
    }
    void updateStatus() override { ++statusUpdates; }

    std::vector<std::string> failures;
    std::atomic<bool> launches{true};
    int statusUpdates = 0;
};

std::string execute(const std::string& executable) {
    return "<ServiceCommand Command=\"ExecuteProcess\" Executable=\"" + executable +
           "\" Parameters=\" /sessionid:123 /transferlog:on\"/>";
}

class RemoteServiceConnectorTest : public testing::Test {
protected:
    RemoteServiceConnectorTest()
        : connector(std::make_shared<RemoteServiceConnector>(env.connector, delegate)) {}
    ~RemoteServiceConnectorTest() override { connector->close(); }

    /// Opens the pipe, so that the service can push.
    void connect() {
        bool answered = false;
        connector->requestServiceStatus([&](const auto*, std::int32_t) { answered = true; });
        ASSERT_TRUE(env.loop.runUntil([&] { return answered; }));
    }
    void pushAndWaitForLog(FakeService& service, const std::string& message, const std::string& line) {
        service.push(message);
        ASSERT_TRUE(env.loop.runUntil([&] { return env.log.contains(line); })) << line;
    }
    void pushAndWaitForLaunch(FakeService& service, const std::string& message,
                              const std::string& line = "Launching client") {
        const auto scheduled = env.loop.scheduledCount();
        pushAndWaitForLog(service, message, line);
        ASSERT_TRUE(waitUntil([&] { return env.loop.scheduledCount() == scheduled + 1; })); // after the line
    }

    AgentEnvironment env;
    RecordingDelegate delegate;
    std::shared_ptr<RemoteServiceConnector> connector;
};

TEST_F(RemoteServiceConnectorTest, EachAnswerReachesItsOwnHandlerOnce) {
    FakeService service;
    int first = 0;
    std::vector<std::string> servers;
    connector->requestServiceStatus([&](const auto*, std::int32_t) { ++first; });
    connector->requestServiceStatus([&](const auto* response, std::int32_t result) {
        ASSERT_TRUE(response);
        EXPECT_EQ(result, 0);
        servers.push_back(std::get<OFRServiceInfo>(*response).server);
    });
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 2; }));
    EXPECT_EQ(service.transcript(), "<GetStatus RequestData=\"1\" /><GetStatus RequestData=\"2\" />");

    // Unprompted, twice the same, and all in one delivery.
    service.push("<Status RequestData=\"99\"/> \n<Status RequestData=\"2\" Server=\"a\"/>"
                 "<Status RequestData=\"2\" Server=\"b\"/><Status/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return !servers.empty(); }));
    service.push("<Status RequestData=\"1\"/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return first > 0; }));
    EXPECT_EQ(first, 1);
    EXPECT_THAT(servers, ElementsAre("a"));
}

TEST_F(RemoteServiceConnectorTest, TheAnswerToAProxyStatusRequestReachesNoHandler) {
    // The command in the same delivery shows when the answer has been processed.
    FakeService service(
        [](const std::string&) {
            return "<ServerStatus RequestData=\"1\"/><ServiceCommand Command=\"After\"/>";
        },
        Kvs::FRSCtrl::Pipe_RemoteServer);
    EXPECT_EQ(connector->requestProxyStatus([&](const auto*, std::int32_t) { ADD_FAILURE(); }),
              Kvs::kSuccess);
    ASSERT_TRUE(waitUntil([&] { return env.log.contains("Received unknown service command: After"); }));
    env.loop.runPending();
}

TEST_F(RemoteServiceConnectorTest, ForgetsTheOldestOfTooManyRequests) {
    FakeService service;
    std::vector<int> answered;
    for (int i = 1; i <= 257; ++i) {
        connector->requestServiceStatus([&answered, i](const auto*, std::int32_t) { answered.push_back(i); });
    }
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 257; }));
    service.push("<Status RequestData=\"1\"/><Status RequestData=\"2\"/><Status RequestData=\"257\"/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return answered.size() >= 2; }));
    EXPECT_THAT(answered, ElementsAre(2, 257));
}

TEST_F(RemoteServiceConnectorTest, WithoutAServiceEveryRequestFails) {
    std::vector<std::int32_t> results;
    const auto record = [&](const auto* response, std::int32_t result) {
        EXPECT_FALSE(response);
        results.push_back(result);
    };
    connector->requestServiceStatus(record);
    connector->requestProxyStatus(record);
    connector->sendServicePauseRequest(record);
    connector->sendServiceContinueRequest(record);
    EXPECT_EQ(results, std::vector<std::int32_t>(4, Kvs::kFailure));
    EXPECT_TRUE(env.log.contains("KvnRemoteServiceCtrl::sendRequest: no messenger for given pipe ID"));

    EXPECT_EQ(connector->sendSystemRebootRequest(), Kvs::kFailure);
    connector->registerServiceAgent();
    EXPECT_THAT(delegate.failures, ElementsAre("sendSystemRebootRequest request failed. -2147483648"));
    env.loop.runPending(); // the failure of the registration is reported later
    EXPECT_EQ(delegate.failures.back(), "registerServiceAgent failed. -2147483648");
}

TEST_F(RemoteServiceConnectorTest, LaunchesTheClientAfterADelayAndReportsIt) {
    FakeService service(answerAsOnlineService);
    connect();
    const struct {
        std::chrono::seconds upTime;
        std::string executable;
        std::string launched;
        std::chrono::milliseconds delay;
        std::string line;
    } cases[] = {
        {90s, "&quot;/opt/client&quot;", "/opt/client", 1s, "Launching client in 1.0 seconds"},
        {89s, "/Applications/C.app", "/Applications/C.app/Contents/MacOS/Inner", 12s,
         "Launching client in 12.0 seconds"},
    };
    for (const auto& c : cases) {
        env.system.up = c.upTime;
        env.runner.launched.clear();
        const auto reports = service.count("<ClientLauched");
        pushAndWaitForLaunch(service, execute(c.executable), c.line);
        env.loop.advance(c.delay - 1ms);
        EXPECT_TRUE(env.runner.launched.empty());
        env.loop.advance(1ms);
        ASSERT_EQ(env.runner.launched.size(), 1U);
        EXPECT_EQ(env.runner.launched[0].first, c.launched);
        EXPECT_THAT(env.runner.launched[0].second, ElementsAre("-sid:123", "-transferlog:on"));
        EXPECT_TRUE(
            waitUntil([&] { return service.count("<ClientLauched ProcessID=\"4300\"") == reports + 1; }));
        EXPECT_TRUE(
            env.log.contains("Started: " + c.launched + " procId: 4300, args: (-sid:123, -transferlog:on)"));
    }
    EXPECT_EQ(env.preferences.stringForKey("LastClientProcessInfo"), "4300|100008|alice");
    EXPECT_EQ(delegate.statusUpdates, 2);
}

TEST_F(RemoteServiceConnectorTest, AFailedLaunchIsLoggedAndOtherCommandsLaunchNothing) {
    FakeService service(answerAsOnlineService);
    connect();
    env.runner.fails = true;
    pushAndWaitForLaunch(service, execute("/opt/client"));
    env.loop.advance(1s);
    EXPECT_TRUE(
        env.log.contains("Failed to launch: /opt/client args: (-sid:123, -transferlog:on)\nException: "));
    EXPECT_EQ(service.count("ClientLauched"), 0U);
    EXPECT_EQ(delegate.statusUpdates, 0);
    EXPECT_FALSE(env.preferences.stringForKey("LastClientProcessInfo"));

    env.runner.launched.clear();
    pushAndWaitForLog(service, "<ServiceCommand Command=\"executeprocess\" Executable=\"/bin/true\"/>",
                      "Received unknown service command: executeprocess");
    delegate.launches = false;
    pushAndWaitForLog(service, execute("/opt/client"),
                      "Delegate handled launch request: /opt/client args: (-sid:123, -transferlog:on)");
    env.loop.advance(1min);
    EXPECT_TRUE(env.runner.launched.empty());
}

TEST_F(RemoteServiceConnectorTest, AScheduledLaunchHappensAfterTheConnectorIsDropped) {
    FakeService service(answerAsOnlineService);
    connect();
    pushAndWaitForLaunch(service, execute("/opt/client"));
    connector->close();
    connector = std::make_shared<RemoteServiceConnector>(env.connector, delegate);
    env.loop.advance(1s);
    EXPECT_EQ(env.runner.launched.size(), 1U);
    EXPECT_TRUE(waitUntil([&] { return service.count("ClientLauched") > 0; }));
}

TEST_F(RemoteServiceConnectorTest, LaunchesAtMostThirtyTwoClientsAtOnce) {
    FakeService service(answerAsOnlineService);
    connect();
    for (int i = 0; i < 200; ++i) {
        service.push(execute("/opt/client"));
    }
    ASSERT_TRUE(env.loop.runUntil([&] { return env.log.contains("Too many launch requests, dropped"); }));
    env.loop.advance(1s);
    EXPECT_EQ(env.runner.launched.size(), 32U);
}

} // namespace
} // namespace kvn::test
