// SPDX-License-Identifier: MIT

#include "remote/KvnRemoteServiceCtrl.h"
#include "tests/support/Test.h"

#include "core/logging/CNSLog.h"
#include "core/text/FGStr.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

namespace kvn::test {
namespace {

using Kvs::kFailure;
using Kvs::kSuccess;
using Kvs::KvnRemoteServiceCtrl;

constexpr char kLaunched[] =
    "<ClientLauched ProcessID=\"42\" SessionID=\"7\" UserID=\"a&amp;b\" RequestData=\"0\"></ClientLauched>";

/// Logs the client's events, so that a test can wait for their lines.
struct EventLogger {
    explicit EventLogger(KvnRemoteServiceCtrl& client) {
        client.EventServiceStatus.add(this, &EventLogger::status);
        client.EventConnectionError.add(this, &EventLogger::error);
    }
    void status(KvnRemoteServiceCtrl*, Kvs::_FRServiceInfo& info) {
        Kvs::CNSLog("event: status %u", info.requestId);
    }
    void error(KvnRemoteServiceCtrl*, Kvs::_FRConnectionError& error) {
        Kvs::CNSLog("event: error %d", error.errorCode);
    }
};

class KvnRemoteServiceCtrlTest : public testing::Test {
protected:
    ~KvnRemoteServiceCtrlTest() override { client.closePipes(); }

    bool waitForLines(const std::string& text, std::size_t count = 1) const {
        return waitUntil([&] { return env.log.count(text) == count; });
    }

    AgentEnvironment env;
    KvnRemoteServiceCtrl client{false, env.session, env.clock};
    EventLogger logger{client};
};

TEST_F(KvnRemoteServiceCtrlTest, RequestsShareAPipeUntilItFails) {
    {
        FakeService service(answerAsOnlineService);
        EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
        EXPECT_EQ(client.requestServiceStatus(2), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 2; }));
        EXPECT_EQ(env.log.count("connection accepted"), 1U);
    }
    ASSERT_TRUE(waitForLines("event: error 54"));
    FakeService service(answerAsOnlineService);
    EXPECT_EQ(client.requestServiceStatus(3), kSuccess);
    EXPECT_TRUE(waitForLines("event: status 3"));
}

TEST_F(KvnRemoteServiceCtrlTest, ClosingWaitsForTheHandlerOfAnError) {
    struct SlowHandler {
        void take(KvnRemoteServiceCtrl*, Kvs::_FRConnectionError&) {
            entered = true;
            closedMeanwhile = waitUntil([this] { return closed.load(); }, 50ms);
            left = true;
        }
        std::atomic<bool> entered{false}, closed{false}, closedMeanwhile{false}, left{false};
    } handler;
    client.EventConnectionError.add(&handler, &SlowHandler::take);
    {
        FakeService service;
        EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    }
    ASSERT_TRUE(waitUntil([&] { return handler.entered.load(); }));
    client.closePipes();
    handler.closed = true;
    ASSERT_TRUE(waitUntil([&] { return handler.left.load(); }));
    EXPECT_FALSE(handler.closedMeanwhile);
}

TEST_F(KvnRemoteServiceCtrlTest, ReadsOnlyAfterARequestThatIsAnswered) {
    const auto agent = [](const std::string& tag, const std::string& id) {
        return "<" + tag + " SessionID=\"100008\" UserID=\"alice\" ProcessID=\"" + std::to_string(getpid()) +
               "\" RequestData=\"" + id + "\"></" + tag + ">";
    };
    std::string sent = "<RebootSystem />" + agent("UnregisterAgent", "0") + kLaunched;
    {
        FakeService service;
        client.sendSystemRebootRequest(1);
        client.unregisterServiceAgentRequest(0);
        client.clientLaunchedNotification(42, "7", "a&b");
        client.closePipes();
        EXPECT_TRUE(waitUntil([&] { return service.transcript() == sent; })) << service.transcript();
        client.registerServiceAgentRequest(5);
        client.closePipes();
        sent += agent("RegisterAgent", "5");
        EXPECT_TRUE(waitUntil([&] { return service.transcript() == sent; })) << service.transcript();
    }
    // The service has read from both connections, the agent only from the second.
    EXPECT_EQ(env.log.count("Leaving read thread"), 3U);
}

TEST_F(KvnRemoteServiceCtrlTest, APauseThatCannotBeSentIsNotFollowedByAStatusRequest) {
    {
        FakeService service; // the agent does not read, so it does not notice when the service ends
        EXPECT_EQ(client.clientLaunchedNotification(42, "7", "a&b"), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return service.transcript() == kLaunched; }));
    }
    EXPECT_EQ(client.sendServicePauseRequest(1), kFailure);
    EXPECT_EQ(env.log.count("failed to send request tag: Pause"), 1U);

    // The broken pipe was dropped: the next request is the first on a new one.
    FakeService service;
    EXPECT_EQ(client.requestServiceStatus(2), kSuccess);
    EXPECT_TRUE(waitUntil([&] { return service.transcript() == "<GetStatus RequestData=\"2\" />"; }));
}

TEST_F(KvnRemoteServiceCtrlTest, BrokenDeliveriesAreDroppedAndASeriesOfThemLoggedOnce) {
    FakeService service;
    EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    service.push("<Status RequestData=");
    // Waits, so that the second half arrives in a delivery of its own.
    ASSERT_TRUE(waitForLines("dropped what is no message in a delivery of 20 bytes"));
    service.push("\"1\"/>");
    // A message that arrives behind a broken one in the same delivery is dropped with it.
    EXPECT_TRUE(waitUntil([&] {
        service.push("<Unknown/> \n<Status RequestData=\"2\"/>");
        return waitUntil([&] { return env.log.contains("event: "); }, 100ms);
    }));
    EXPECT_EQ(env.log.count("dropped what is no message in a delivery of"), 1U);
    EXPECT_THAT(env.log.linesWith("event: "), testing::Each("event: status 2"));
}

TEST(LogAllowanceTest, PassesAQuietServiceAndSlowsAFloodDown) {
    Kvs::LogAllowance allowance;
    const auto start = std::chrono::steady_clock::time_point(1h);
    EXPECT_EQ(allowance.take(65'000, start), 0ms);
    EXPECT_EQ(allowance.take(65'536, start), 992ms);
    EXPECT_EQ(allowance.take(65'536, start + 2s), 0ms) << "the past is forgotten";
    EXPECT_GT(allowance.take(10'000'000, start + 1h), 2min);
}

} // namespace
} // namespace kvn::test
