#include "remote/KvnRemoteServiceCtrl.h"

#include "core/system/FileDescriptor.h"
#include "core/text/FGStr.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeService.h"

#include <atomic>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace kvn::test {
namespace {

using Kvs::kFailure;
using Kvs::kSuccess;
using Kvs::KvnRemoteServiceCtrl;
using testing::ElementsAre;

/// What a client raised. The client goes before it.
class Recorder {
public:
    explicit Recorder(KvnRemoteServiceCtrl& client) {
        client.EventServiceStatus.add(this, &Recorder::takeStatus);
        client.EventProxyStatus.add(this, &Recorder::takeProxyStatus);
        client.EventConnectionError.add(this, &Recorder::takeError);
    }

    std::vector<std::string> events() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return events_;
    }
    std::string last() const {
        const auto all = events();
        return all.empty() ? "" : all.back();
    }

private:
    void take(std::string event) {
        const std::lock_guard<std::mutex> guard(mutex_);
        events_.push_back(std::move(event));
    }
    void takeStatus(KvnRemoteServiceCtrl*, Kvs::_FRServiceInfo& info) {
        take("status " + std::to_string(info.requestId));
    }
    void takeProxyStatus(KvnRemoteServiceCtrl*, Kvs::_FRProxyStatus& status) {
        take("proxy " + Kvs::fNarrow(status.status) + ", " + Kvs::fNarrow(status.lastError));
    }
    void takeError(KvnRemoteServiceCtrl*, Kvs::_FRConnectionError& error) {
        take("error " + std::to_string(error.errorCode));
    }

    mutable std::mutex mutex_;
    std::vector<std::string> events_;
};

/// A service without threads, which takes a connection when the test says so.
class StillService {
public:
    StillService() {
        const std::string path = Kvs::FComMessengerPipe::pipeFullPath(Kvs::FRSCtrl::Pipe_RemoteClient, true);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), 5), 0);
    }

    Kvs::FileDescriptor acceptOne() const {
        return Kvs::FileDescriptor(accept(listener_.get(), nullptr, nullptr));
    }

private:
    Kvs::FileDescriptor listener_{socket(AF_UNIX, SOCK_STREAM, 0)};
};

std::string receive(const Kvs::FileDescriptor& socket) {
    char bytes[1000];
    const ssize_t count = recv(socket.get(), bytes, sizeof bytes, 0);
    return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

class ServiceCtrl : public testing::Test {
protected:
    explicit ServiceCtrl(bool closeAfterReceive = false) : client(closeAfterReceive, env.session) {}
    ~ServiceCtrl() override { client.closePipes(); }

    std::size_t linesWith(const std::string& text) const {
        const auto lines = env.log.lines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const auto& line) { return line.find(text) != line.npos; }));
    }

    AgentEnvironment env;
    KvnRemoteServiceCtrl client;
    Recorder recorder{client};
};

class ClosingServiceCtrl : public ServiceCtrl {
protected:
    ClosingServiceCtrl() : ServiceCtrl(true) {}
};

TEST_F(ClosingServiceCtrl, EveryRequestHasAPipeForOneDelivery) {
    FakeService service(answerAsOnlineService);
    for (std::size_t request = 1; request <= 3; ++request) {
        EXPECT_EQ(client.requestServiceStatus(static_cast<unsigned>(request)), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return linesWith("closed by peer") == request; }));
        EXPECT_EQ(linesWith("connection accepted"), request);
    }
    EXPECT_THAT(recorder.events(), ElementsAre("status 1", "status 2", "status 3")); // and no error
}

TEST_F(ServiceCtrl, RequestsShareAPipeUntilItFails) {
    {
        FakeService service(answerAsOnlineService);
        EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
        EXPECT_EQ(client.requestServiceStatus(2), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 2; }));
        EXPECT_EQ(linesWith("connection accepted"), 1U);
    }
    ASSERT_TRUE(waitUntil([&] { return recorder.last() == "error 54"; }));
    FakeService service(answerAsOnlineService);
    EXPECT_EQ(client.requestServiceStatus(3), kSuccess);
    EXPECT_TRUE(waitUntil([&] { return recorder.last() == "status 3"; }));
}

TEST_F(ServiceCtrl, ClosingWaitsForTheReportOfAnError) {
    struct SlowListener {
        void take(KvnRemoteServiceCtrl*, Kvs::_FRConnectionError&) {
            entered = true;
            waitUntil([this] { return closing.load(); });
            std::this_thread::sleep_for(
                std::chrono::milliseconds(50)); // a closing that does not wait is done
            left = true;
        }
        std::atomic<bool> entered{false};
        std::atomic<bool> closing{false};
        std::atomic<bool> left{false};
    } listener;
    client.EventConnectionError.add(&listener, &SlowListener::take);
    {
        FakeService service;
        EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
        ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    }
    ASSERT_TRUE(waitUntil([&] { return listener.entered.load(); }));
    listener.closing = true;
    client.closePipes();
    EXPECT_TRUE(listener.left);
}

TEST_F(ServiceCtrl, ProxyStatusHasAPipeOfItsOwn) {
    FakeService service(
        [](const std::string&) { return "<ServerStatus Value=\"online\" LastError=\"a &lt; b\"/>"; },
        Kvs::FRSCtrl::Pipe_RemoteServer);
    EXPECT_EQ(client.requestServiceStatus(4), kFailure); // nobody serves the other pipe
    EXPECT_EQ(client.requestProxyStatus(5), kSuccess);
    ASSERT_TRUE(waitUntil([&] { return !recorder.events().empty(); }));
    EXPECT_THAT(recorder.events(), ElementsAre("proxy online, a < b"));
    EXPECT_EQ(service.transcript(), "<GetServerStatus RequestData=\"5\" />");
}

TEST_F(ServiceCtrl, ALaunchIsToldWithoutListeningForAnAnswer) {
    const StillService service;
    EXPECT_EQ(client.clientLaunchedNotification(42, "7", "alice"), kSuccess);
    const auto connection = service.acceptOne();
    EXPECT_EQ(receive(connection), "<ClientLauched ProcessID=\"42\" SessionID=\"7\" UserID=\"alice\" "
                                   "RequestData=\"0\"></ClientLauched>");
    client.closePipes();
    EXPECT_EQ(linesWith("Leaving read thread"), 0U);

    EXPECT_EQ(client.requestServiceStatus(1), kSuccess); // which listens
    client.closePipes();
    EXPECT_EQ(linesWith("Leaving read thread"), 1U);
}

TEST_F(ServiceCtrl, ThePauseThatCannotBeSentIsNotFollowedByAStatusRequest) {
    const StillService service;
    EXPECT_EQ(client.clientLaunchedNotification(42, "7", "alice"), kSuccess);
    EXPECT_NE(receive(service.acceptOne()), ""); // and the connection is closed, which nobody reads
    EXPECT_EQ(client.sendServicePauseRequest(1), kFailure);
    EXPECT_EQ(linesWith("failed to send request tag: Pause"), 1U);

    // The broken pipe was dropped: the next request goes over a new one, and is the first there.
    EXPECT_EQ(client.requestServiceStatus(2), kSuccess);
    EXPECT_EQ(receive(service.acceptOne()), "<GetStatus RequestData=\"2\" />");
}

TEST_F(ServiceCtrl, AnAnswerInTwoDeliveriesIsDropped) {
    FakeService service;
    EXPECT_EQ(client.requestServiceStatus(1), kSuccess);
    ASSERT_TRUE(waitUntil([&] { return service.count("GetStatus") == 1; }));
    service.push("<Status RequestData=");
    ASSERT_TRUE(waitUntil([&] { return linesWith("no message in a delivery of 20 bytes") == 1; }));
    service.push("\"1\"/>");
    // What comes glued to the second half is lost with it.
    EXPECT_TRUE(waitUntil([&] {
        service.push("<Status RequestData=\"2\"/>");
        return !recorder.events().empty();
    }));
    EXPECT_THAT(recorder.events(), testing::Each("status 2"));
}

} // namespace
} // namespace kvn::test
