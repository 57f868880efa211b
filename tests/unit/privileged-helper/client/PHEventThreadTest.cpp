#include "privileged-helper/client/PHEventThread.h"

#include "tests/support/CapturedLog.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/unit/privileged-helper/client/HelperFixture.h"

#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

namespace kvn::test {
namespace {

class Client : public PHEventThreadClient {
public:
    bool dispatchAgentEvent(const PHMessage& message) override {
        events.push_back(message.dump());
        return false;
    }
    void eventThreadTerminatedWithError(const host::Error* error) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        ends_.push_back(error ? error->reason : "closed");
    }
    std::vector<std::string> ends() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return ends_;
    }
    std::vector<std::string> events;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> ends_;
};

/// A thread that reads from a socket whose other end the test has.
struct Reading {
    explicit Reading(host::MainLoop& loop) {
        thread = std::make_shared<PHEventThread>(handler, client, loop);
        EXPECT_TRUE(thread->start());
    }
    ~Reading() { thread->stop(); }

    SocketPair sockets;
    std::shared_ptr<PHProtocolHandler> handler =
        std::make_shared<PHProtocolHandler>(std::move(sockets.ours), false);
    std::shared_ptr<Client> client = std::make_shared<Client>();
    std::shared_ptr<PHEventThread> thread;
};

class PHEventThreadTest : public testing::Test {
protected:
    CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop{clock};
};

TEST_F(PHEventThreadTest, ForwardsEventsAndTellsTheEndOnce) {
    const struct {
        std::string bytes;
        std::string end;
        std::string line;
    } cases[] = {
        {"", "closed", "PrivilegedAgent event connection closed by peer"},
        {"F7100001{", "Failed to deserialize message",
         "PH connection failed, reason: Failed to deserialize message"},
    };
    for (const auto& [bytes, end, line] : cases) {
        Reading reading(loop);
        reading.sockets.write("F7100003[1]F7100003[2]" + bytes);
        reading.sockets.peer.reset();
        EXPECT_TRUE(waitUntil([&] { return !reading.client->ends().empty(); }));
        EXPECT_FALSE(reading.handler->sendMessage(PHMessage::object())); // another failure
        reading.thread->stop();
        EXPECT_EQ(reading.client->ends(), std::vector{end});
        EXPECT_TRUE(log.contains(line));
        EXPECT_TRUE(reading.thread->hasEnded());
        EXPECT_TRUE(reading.client->events.empty());
        loop.runPending();
        EXPECT_EQ(reading.client->events, (std::vector<std::string>{"[1]", "[2]"}));
    }
}

TEST_F(PHEventThreadTest, TellsThePeersEndOnceWhoeverMeetsIt) {
    for (int i = 0; i < 50; ++i) {
        Reading reading(loop);
        std::thread sender([&] { // meets the end while writing, the event thread while reading
            while (reading.handler->sendMessage(PHMessage::object())) {
            }
        });
        reading.sockets.peer.reset();
        sender.join();
        reading.thread->stop();
        EXPECT_EQ(reading.client->ends(), std::vector<std::string>{"closed"});
    }
}

TEST_F(PHEventThreadTest, LeavesAFloodInTheSocket) {
    std::string flood;
    for (int i = 0; i < 600; ++i) {
        flood += "F7100002[]";
    }
    Reading read(loop), stopped(loop);
    read.sockets.write(flood);
    stopped.sockets.write(flood);
    EXPECT_TRUE(waitUntil([&] { return loop.scheduledCount() == 512; }));
    stopped.thread->stop();
    EXPECT_TRUE(stopped.client->ends().empty());
    EXPECT_EQ(loop.scheduledCount(), 512U);
    EXPECT_TRUE(loop.runUntil([&] { return read.client->events.size() == 600; }));
    EXPECT_EQ(stopped.client->events.size(), 256U);
}

TEST_F(PHEventThreadTest, EndsABlockedReaderAndLeavesNothing) {
    const auto entriesOf = [](const char* folder) {
        std::error_code none; // not every system has every folder
        return std::distance(std::filesystem::directory_iterator(folder, none), {});
    };
    const auto inUse = [&] {
        // Counted on a thread of its own: a sanitizer's thread comes with the process's first one, and stays.
        std::pair<std::ptrdiff_t, std::ptrdiff_t> counts;
        std::thread([&] { counts = {entriesOf("/dev/fd"), entriesOf("/proc/self/task")}; }).join();
        return counts;
    };
    const auto before = inUse();
    for (int i = 0; i < 200; ++i) {
        Reading reading(loop);
        reading.sockets.write("F7100002[]");
        if (i % 2 == 0) {
            EXPECT_TRUE(waitUntil([&] { return loop.scheduledCount() > 0; })); // it blocks, or soon will
        }
        std::thread another([&] { reading.thread->stop(); });
        reading.thread->stop();
        another.join();
        EXPECT_FALSE(reading.handler->isConnected());
        EXPECT_TRUE(reading.client->ends().empty());
        reading.client.reset();
        loop.runPending(); // for a client that is gone
    }
    EXPECT_TRUE(waitUntil([&] { return inUse() == before; }));
}

} // namespace
} // namespace kvn::test
