#include "remote/platform/RemoteServiceConnector.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class RecordingDelegate : public RemoteServiceConnectorDelegate {
public:
    void serviceConnectorReceivedAgentRegistrationResult(RemoteServiceConnector&,
                                                         const OFRRequestResult& result) override {
        registration = result;
    }
    void serviceConnectorFailedWithError(RemoteServiceConnector&, std::int32_t code,
                                         const std::string& description) override {
        failures.push_back(description + " " + std::to_string(code));
    }
    void serviceConnectorLostConnection(RemoteServiceConnector&) override { ++lost; }
    bool serviceConnectorShouldHandleLaunchRequest(RemoteServiceConnector&, const std::string&,
                                                   const std::vector<std::string>&) override {
        return launches;
    }
    void updateStatus() override { ++statusUpdates; }

    std::optional<OFRRequestResult> registration;
    std::vector<std::string> failures;
    int lost = 0;
    std::atomic<bool> launches{true};
    int statusUpdates = 0;
};

constexpr char kExecute[] =
    "<ServiceCommand Command=\"ExecuteProcess\" Executable=\"&quot;/opt/client&quot;\" "
    "Parameters=\" /sessionid:123 /transferlog:on\"/>";

class Connector : public testing::Test {
protected:
    Connector() : connector(std::make_shared<RemoteServiceConnector>(env.connector, delegate)) {}
    ~Connector() override { connector->close(); }

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

TEST_F(Connector, EachAnswerReachesItsOwnHandlerOnce) {
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

    // Unprompted, twice the same, and glued into one delivery.
    service.push("<Status RequestData=\"99\"/> \n<Status RequestData=\"2\" Server=\"a\"/>"
                 "<Status RequestData=\"2\" Server=\"b\"/><Status/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return !servers.empty(); }));
    service.push("<Status RequestData=\"1\"/>");
    ASSERT_TRUE(env.loop.runUntil([&] { return first > 0; }));
    EXPECT_EQ(first, 1);
    EXPECT_THAT(servers, ElementsAre("a"));
}

TEST_F(Connector, TheAnswerToAProxyStatusRequestReachesNobody) {
    // The command in the same delivery tells when the answer has been processed.
    FakeService service(
        [](const std::string&) {
            return "<ServerStatus RequestData=\"1\" Value=\"online\"/><ServiceCommand Command=\"After\"/>";
        },
        Kvs::FRSCtrl::Pipe_RemoteServer);
    int calls = 0;
    EXPECT_EQ(connector->requestProxyStatus([&](const auto*, std::int32_t) { ++calls; }), Kvs::kSuccess);
    ASSERT_TRUE(waitUntil([&] { return env.log.contains("Received unknown service command: After"); }));
    env.loop.runPending();
    EXPECT_EQ(calls, 0);
}

TEST_F(Connector, ForgetsTheOldestOfTooManyRequests) {
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

TEST_F(Connector, WithoutAServiceEveryRequestFailsAtOnce) {
    std::vector<std::int32_t> results;
    const auto record = [&](const auto* response, std::int32_t result) {
        EXPECT_FALSE(response);
        results.push_back(result);
    };
    connector->requestServiceStatus(record);
    connector->requestProxyStatus(record);
    connector->sendServicePauseRequest(record);
    connector->sendServiceContinueRequest(record);
    EXPECT_THAT(results, testing::Each(Kvs::kFailure));
    EXPECT_EQ(results.size(), 4U);
    EXPECT_TRUE(env.log.contains("KvnRemoteServiceCtrl::sendRequest: no messenger for given pipe ID"));

    EXPECT_EQ(connector->sendSystemRebootRequest(), Kvs::kFailure);
    connector->registerServiceAgent();
    EXPECT_THAT(delegate.failures, ElementsAre("sendSystemRebootRequest request failed. -2147483648"));
    env.loop.runPending(); // the registration's failure is told later
    EXPECT_EQ(delegate.failures.back(), "registerServiceAgent failed. -2147483648");
}

TEST_F(Connector, MessagesOnTheWire) {
    FakeService service;
    const std::string pid = std::to_string(getpid());
    connector->sendServicePauseRequest({});
    connector->sendSystemRebootRequest();
    connector->registerServiceAgent();
    connector->unregisterServiceAgent();
    const std::string agent = " SessionID=\"100008\" UserID=\"alice\" ProcessID=\"" + pid + "\" RequestData=";
    const std::string expected = "<Pause /><GetStatus RequestData=\"1\" /><RebootSystem /><RegisterAgent" +
                                 agent + "\"3\"></RegisterAgent><UnregisterAgent" + agent +
                                 "\"0\"></UnregisterAgent>";
    EXPECT_TRUE(waitUntil([&] { return service.transcript() == expected; })) << service.transcript();
}

TEST_F(Connector, RegistrationResultReachesTheDelegate) {
    FakeService service([](const std::string& message) {
        return "<RequestResult RequestData=\"" + requestIdIn(message) + "\" StatusCode=\"5\"/>";
    });
    connector->registerServiceAgent();
    ASSERT_TRUE(env.loop.runUntil([&] { return delegate.registration.has_value(); }));
    EXPECT_EQ(delegate.registration->statusCode, 5);
    EXPECT_TRUE(delegate.failures.empty());
}

TEST_F(Connector, LaunchesTheClientAndReportsIt) {
    FakeService service(answerAsOnlineService);
    connect();
    pushAndWaitForLaunch(service, kExecute, "Launching client in 1.0 seconds");
    env.loop.advance(999ms);
    EXPECT_TRUE(env.runner.launched.empty());
    env.loop.advance(1ms);
    ASSERT_EQ(env.runner.launched.size(), 1U);
    EXPECT_EQ(env.runner.launched[0].first, "/opt/client");
    EXPECT_THAT(env.runner.launched[0].second, ElementsAre("-sid:123", "-transferlog:on"));
    EXPECT_TRUE(waitUntil([&] {
        return service.count("<ClientLauched ProcessID=\"4300\" SessionID=\"100008\" UserID=\"alice\" "
                             "RequestData=\"0\"></ClientLauched>") == 1;
    }));
    EXPECT_EQ(env.preferences.stringForKey("LastClientProcessInfo"), "4300|100008|alice");
    EXPECT_TRUE(env.log.contains("Started: /opt/client procId: 4300, args: (-sid:123, -transferlog:on)"));
    EXPECT_EQ(delegate.statusUpdates, 1);
}

TEST_F(Connector, WaitsLongerWhileTheSystemStarts) {
    FakeService service(answerAsOnlineService);
    env.system.up = 89s;
    connect();
    pushAndWaitForLaunch(service, kExecute, "Launching client in 12.0 seconds");
    env.loop.advance(11999ms);
    EXPECT_TRUE(env.runner.launched.empty());
    env.loop.advance(1ms);
    EXPECT_EQ(env.runner.launched.size(), 1U);
}

TEST_F(Connector, LaunchesTheProgramInsideABundle) {
    FakeService service(answerAsOnlineService);
    connect();
    pushAndWaitForLaunch(service,
                         "<ServiceCommand Command=\"ExecuteProcess\" Executable=\"/Applications/C.app\"/>");
    env.loop.advance(1s);
    ASSERT_EQ(env.runner.launched.size(), 1U);
    EXPECT_EQ(env.runner.launched[0].first, "/Applications/C.app/Contents/MacOS/Inner");
    EXPECT_TRUE(env.runner.launched[0].second.empty());
}

TEST_F(Connector, LaunchesNothingItShouldNot) {
    FakeService service(answerAsOnlineService);
    connect();
    pushAndWaitForLog(service, "<ServiceCommand Command=\"executeprocess\" Executable=\"/bin/true\"/>",
                      "Received unknown service command: executeprocess");
    delegate.launches = false;
    pushAndWaitForLog(service, kExecute,
                      "Delegate handled launch request: /opt/client args: (-sid:123, -transferlog:on)");
    env.loop.advance(1min);
    EXPECT_TRUE(env.runner.launched.empty());
}

TEST_F(Connector, FailedLaunchIsLoggedAndNotReported) {
    FakeService service(answerAsOnlineService);
    env.runner.fails = true;
    connect();
    pushAndWaitForLaunch(service, kExecute);
    env.loop.advance(1s);
    EXPECT_TRUE(
        env.log.contains("Failed to launch: /opt/client args: (-sid:123, -transferlog:on)\nException: "));
    EXPECT_EQ(service.count("ClientLauched"), 0U);
    EXPECT_EQ(delegate.statusUpdates, 0);
    EXPECT_FALSE(env.preferences.stringForKey("LastClientProcessInfo"));
}

TEST_F(Connector, ALaunchUnderWayOutlivesTheOwnersInterest) {
    FakeService service(answerAsOnlineService);
    connect();
    pushAndWaitForLaunch(service, kExecute);
    connector->close();
    connector = std::make_shared<RemoteServiceConnector>(env.connector, delegate);
    env.loop.advance(1s);
    EXPECT_EQ(env.runner.launched.size(), 1U);
    EXPECT_TRUE(waitUntil([&] { return service.count("ClientLauched") > 0; }));
}

TEST_F(Connector, AFloodOfLaunchRequestsIsBounded) {
    FakeService service(answerAsOnlineService);
    connect();
    std::string flood;
    for (int i = 0; i < 20; ++i) {
        flood += kExecute; // less than one delivery
    }
    for (int i = 0; i < 10; ++i) {
        service.push(flood);
    }
    ASSERT_TRUE(env.loop.runUntil([&] { return env.log.contains("Too many launch requests, dropped"); }));
    env.loop.advance(1s);
    EXPECT_EQ(env.runner.launched.size(), 32U);
}

TEST_F(Connector, NonsenseIsDroppedAndTheNextMessageUnderstood) {
    FakeService service;
    const std::string nonsense[] = {
        "<Status RequestData=\"1\"",
        std::string("\0\0\0<", 4),
        "<?xml version=\"1.0\"?><Status RequestData=\"1\"/>",
        "hello",
        "<Status></status>",
        std::string(3000, '<'),
        "<a>",
        "<Unknown RequestData=\"1\"/>",
    };
    int answers = 0;
    connector->requestServiceStatus([&](const auto*, std::int32_t) { ++answers; });
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    for (const std::string& each : nonsense) {
        service.push(each);
    }
    // What stands behind nonsense in the same delivery is lost with it: say it until it stands alone.
    ASSERT_TRUE(env.loop.runUntil([&] {
        service.push("<Status RequestData=\"1\"/>");
        return answers > 0;
    }));
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(env.log.contains("dropped what is no message in a delivery of"));
}

} // namespace
} // namespace kvn::test
