// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHEventThread.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/Test.h"
#include "tests/unit/privileged-helper/SocketPair.h"

namespace kvn::test {
namespace {

using Texts = std::vector<std::string>;

/// An event thread that reads from a socket whose other end the test has, and what it told its client.
struct Reading {
    explicit Reading(host::MainLoop& loop) {
        const PHEventThread::Client client = {
            [this](const PHMessage& message) { events.push_back(message.text()); },
            [this](const host::Error* error) {
                end = error ? error->reason : "closed";
                ++ends;
            },
        };
        thread = std::make_shared<PHEventThread>(handler, client, loop);
        EXPECT_TRUE(thread->start());
    }
    ~Reading() {
        if (thread) {
            thread->stop();
        }
    }

    SocketPair sockets;
    std::shared_ptr<PHProtocolHandler> handler =
        std::make_shared<PHProtocolHandler>(std::move(sockets.ours), false);
    Texts events;
    std::string end;
    std::atomic<int> ends = 0;
    std::shared_ptr<PHEventThread> thread;
};

class PHEventThreadTest : public testing::Test {
protected:
    CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop{clock};
};

TEST_F(PHEventThreadTest, ForwardsEventsAndReportsTheEndOnceFromEitherThread) {
    for (int i = 0; i < 50; ++i) {
        const bool broken = i % 2 == 0;
        Reading reading(loop);
        std::thread sender([&] { // meets the end while writing, the event thread while reading
            while (reading.handler->sendMessage({{"Ctrl", "bye"}})) {
            }
        });
        if (broken) {
            reading.sockets.write("F7100003[1]F7100003[2]F7100001{");
            EXPECT_TRUE(waitUntil([&] { return reading.ends > 0; }));
        }
        reading.sockets.peer.reset();
        sender.join();
        reading.thread->stop();
        EXPECT_EQ(reading.ends, 1);
        EXPECT_EQ(reading.end, broken ? "Failed to deserialize message" : "closed");
        EXPECT_TRUE(reading.thread->hasEnded());
        EXPECT_TRUE(reading.events.empty()); // they wait for the main thread
        loop.runPending();
        EXPECT_EQ(reading.events, broken ? Texts({"[1]", "[2]"}) : Texts());
    }
    EXPECT_TRUE(log.contains("PH connection failed, reason: Failed to deserialize message"));
    EXPECT_TRUE(log.contains("PrivilegedAgent event connection closed by peer"));
}

TEST_F(PHEventThreadTest, MayBeStoppedInTheReportOfASendingThread) {
    SocketPair sockets;
    const auto handler = std::make_shared<PHProtocolHandler>(std::move(sockets.ours), false);
    std::shared_ptr<PHEventThread> thread;
    const auto stop = [&](const host::Error*) { thread->stop(); };
    thread = std::make_shared<PHEventThread>(handler, PHEventThread::Client{[](const auto&) {}, stop}, loop);
    EXPECT_TRUE(thread->start());
    ::shutdown(handler->conFd(), SHUT_WR); // fails the write, while the event thread waits for data
    EXPECT_FALSE(handler->sendMessage({{"Ctrl", "bye"}}));
    EXPECT_TRUE(thread->hasEnded());
}

TEST_F(PHEventThreadTest, LeavesAFloodInTheSocket) {
    std::string flood;
    for (int i = 0; i < 520; ++i) {
        flood += "F7100002[]";
    }
    const auto start = std::chrono::steady_clock::now();
    Reading read(loop), stopped(loop);
    read.sockets.write(flood);
    stopped.sockets.write(flood);
    EXPECT_TRUE(waitUntil([&] { return loop.scheduledCount() == 512; }));
    stopped.thread->stop();
    EXPECT_EQ(stopped.ends, 0);
    EXPECT_EQ(loop.scheduledCount(), 512U);
    EXPECT_TRUE(loop.runUntil([&] { return read.events.size() == 520; }));
    EXPECT_EQ(stopped.events.size(), 256U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20 * 19ms); // for those that exceed 500
}

TEST_F(PHEventThreadTest, StopEndsABlockedReaderAndFreesItsConnection) {
    for (int i = 0; i < 100; ++i) {
        Reading reading(loop);
        reading.sockets.write("F7100002[]");
        if (i % 2 == 0) {
            EXPECT_TRUE(waitUntil([&] { return loop.scheduledCount() > 0; })); // it blocks, or soon will
        }
        std::thread another([&] { reading.thread->stop(); });
        reading.thread->stop();
        another.join();
        EXPECT_FALSE(reading.handler->isConnected());
        EXPECT_EQ(reading.ends, 0);
        const std::weak_ptr<PHConnection> connection = reading.thread->connection();
        const std::weak_ptr<PHEventThread> thread = reading.thread;
        reading.thread.reset();
        EXPECT_TRUE(thread.expired() && connection.expired()); // although a message waits in the main loop
        loop.runPending();
    }
}

} // namespace
} // namespace kvn::test
