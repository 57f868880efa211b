// SPDX-License-Identifier: MIT

#include "tests/support/Test.h"
#include "tests/unit/core/messenger/PipeFixture.h"

namespace kvn::test {
namespace {

TEST_F(PipeTest, EndsFromInsideAHandler) {
    const auto close = [](Listening& end) { end.pipe->close(); };
    const auto destroy = [](Listening& end) { end.pipe.reset(); };
    const struct {
        const char* description;
        bool server, onError;
        std::function<void(Listening&)> act;
    } cases[] = {
        {"a client closes on data", false, false, close},
        {"a client is destroyed on data", false, false, destroy},
        {"a client closes on an error", false, true, close},
        {"a client is destroyed on an error", false, true, destroy},
        {"a server closes on data", true, false, close},
        {"a server closes on an error", true, true, close},
    };
    std::vector<std::string> endedReaders;
    for (const auto& ending : cases) {
        SCOPED_TRACE(ending.description);
        Listening actor(ending.server), other(!ending.server);
        std::atomic<bool> done = false;
        (ending.onError ? actor.onError : actor.onData) = [&] {
            ending.act(actor);
            done = true;
        };
        Listening& server = ending.server ? actor : other;
        Listening& client = ending.server ? other : actor;
        ASSERT_TRUE(server.start(L"Self") && client.start(L"Self"));
        client.send("hello"); // the server knows its peer when it has this
        if (!ending.server) {
            ASSERT_TRUE(server.receives("hello"));
            server.send("hello");
        }
        if (ending.onError) {
            ASSERT_TRUE(actor.receives("hello"));
            other.pipe->close();
        }
        ASSERT_TRUE(waitUntil([&] { return done.load(); }));
        const Listening& told = ending.onError ? actor : other;
        EXPECT_TRUE(waitUntil([&] { return told.raised().errors == std::vector{Kvs::kPeerClosedError}; }));
        EXPECT_EQ(actor.raised().errors.size(), ending.onError ? 1U : 0U);
        // Both readers end, although nothing joins those of a destroyed pipe.
        endedReaders.resize(endedReaders.size() + 2, "FComMessengerPipe:: Leaving read thread from pipe: ");
        EXPECT_TRUE(logs(endedReaders));
    }
}

TEST_F(PipeTest, EveryCloseWaitsForAHandlerThatHasClosedThePipeItself) {
    std::atomic<bool> busy = false;
    std::atomic<int> closing = 0, closed = 0;
    Listening server(true), client(false);
    server.onData = [&] {
        server.pipe->close();
        busy = true;
        waitUntil([&] { return closing == 2; });
        EXPECT_FALSE(waitUntil([&] { return closed > 0; }, 30ms));
    };
    ASSERT_TRUE(server.start(L"Busy") && client.start(L"Busy"));
    client.send("x");
    ASSERT_TRUE(waitUntil([&] { return busy.load(); }));
    const auto close = [&] {
        ++closing;
        server.pipe->close();
        ++closed;
    };
    std::thread other(close);
    close();
    other.join();
}

TEST_F(PipeTest, RaisesNothingAfterItWasClosedWhilePeersSend) {
    for (int round = 0; round < 10; ++round) {
        Listening server(true);
        ASSERT_TRUE(server.start(L"Busy"));
        std::atomic<bool> stop = false;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                Listening client(false);
                client.start(L"Busy");
                Kvs::FResult result = Kvs::kSuccess;
                while (!stop && (result == Kvs::kSuccess || result == EAGAIN)) {
                    result = client.send(std::string(5000, 'x'));
                }
            });
        }
        EXPECT_TRUE(waitUntil([&] { return server.raised().pieces.size() > 50; }));
        threads.emplace_back([&] {
            while (!stop) {
                server.send("to all");
            }
        });
        server.pipe->close();
        const std::size_t received = server.raised().bytes.size();
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(server.raised().errors, std::vector<int>());
        EXPECT_EQ(server.raised().bytes.size(), received);
    }
    EXPECT_FALSE(log.contains("accept error"));
}

} // namespace
} // namespace kvn::test
