#include "tests/unit/core/messenger/PipeFixture.h"

#include <algorithm>
#include <thread>

namespace kvn::test {
namespace {

/// A handler may close its own pipe, and a client may destroy it: nothing hangs, nothing is left open.
enum class Deed { close, endReceive, destroy };
struct SelfEnding {
    const char* what;
    bool server;
    bool onError;
    Deed deed;
};
class PipeSelfEndingTest : public PipeTest, public ::testing::WithParamInterface<SelfEnding> {};

TEST_P(PipeSelfEndingTest, EndsFromInsideAHandler) {
    const SelfEnding& ending = GetParam();
    Listening actor(ending.server);
    Listening other(!ending.server);
    std::atomic<bool> done = false;
    const auto act = [&] {
        if (ending.deed == Deed::close) {
            actor.pipe->close();
        } else if (ending.deed == Deed::endReceive) {
            actor.pipe->endReceive();
        } else {
            actor.pipe.reset();
        }
        done = true;
    };
    (ending.onError ? actor.onError : actor.onData) = act;

    Listening& server = ending.server ? actor : other;
    Listening& client = ending.server ? other : actor;
    ASSERT_TRUE(server.start(L"Self") && client.start(L"Self"));
    // The first message makes sure that the server knows its peer.
    client.send("hello");
    if (!ending.server) {
        ASSERT_TRUE(waitUntil([&] { return server.bytes() == "hello"; }));
        server.send("hello");
    }
    if (ending.onError) {
        ASSERT_TRUE(waitUntil([&] { return actor.bytes() == "hello"; }));
        other.pipe->close();
    }
    ASSERT_TRUE(waitUntil([&] { return done.load(); }));
    EXPECT_EQ(actor.errors(), std::vector(ending.onError ? 1 : 0, Kvs::kPeerClosedError));
    if (!ending.onError) {
        EXPECT_TRUE(waitUntil([&] { return other.errors() == std::vector{Kvs::kPeerClosedError}; }));
    }
    // Both readers end, which nobody has waited for in the case of a destroyed pipe.
    const std::string left = "FComMessengerPipe:: Leaving read thread from pipe: ";
    EXPECT_TRUE(waitUntil([&] { return logged({left, left}); }));
}

INSTANTIATE_TEST_SUITE_P(Handlers, PipeSelfEndingTest,
                         ::testing::Values(SelfEnding{"ClientClosesOnData", false, false, Deed::close},
                                           SelfEnding{"ClientStopsOnData", false, false, Deed::endReceive},
                                           SelfEnding{"ClientDestroysOnData", false, false, Deed::destroy},
                                           SelfEnding{"ClientClosesOnError", false, true, Deed::close},
                                           SelfEnding{"ClientDestroysOnError", false, true, Deed::destroy},
                                           SelfEnding{"ServerClosesOnData", true, false, Deed::close},
                                           SelfEnding{"ServerClosesOnError", true, true, Deed::close}),
                         [](const auto& test) { return test.param.what; });

TEST_F(PipeTest, WaitsForAHandlerThatHasClosedThePipeItself) {
    std::atomic<bool> closed = false;
    std::atomic<bool> returned = false;
    std::atomic<bool> destroying = false;
    Listening server(true);
    server.onData = [&] {
        server.pipe->close();
        closed = true;
        waitUntil([&] { return destroying.load(); });
        returned = true;
    };
    Listening client(false);
    ASSERT_TRUE(server.start(L"Busy") && client.start(L"Busy"));
    client.send("x");
    ASSERT_TRUE(waitUntil([&] { return closed.load(); }));
    destroying = true;
    server.pipe->close();
    EXPECT_TRUE(returned);
}

TEST_F(PipeTest, EveryCloseWaitsForABusyHandler) {
    std::atomic<bool> busy = false;
    std::atomic<int> closing = 0;
    std::atomic<int> closed = 0;
    Listening server(true);
    server.onData = [&] {
        busy = true;
        waitUntil([&] { return closing == 2; });
        EXPECT_FALSE(waitUntil([&] { return closed > 0; }, std::chrono::milliseconds(30)));
    };
    Listening client(false);
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

TEST_F(PipeTest, StopsWhilePeersSendWithoutAWordOfError) {
    for (int round = 0; round < 10; ++round) {
        Listening server(true);
        ASSERT_TRUE(server.start(L"Busy"));
        std::atomic<bool> stop = false;
        std::vector<std::thread> senders;
        for (int i = 0; i < 4; ++i) {
            senders.emplace_back([&] {
                Listening client(false);
                client.start(L"Busy");
                while (!stop && client.send(std::string(5000, 'x')) == Kvs::kSuccess) {
                }
            });
        }
        EXPECT_TRUE(waitUntil([&] { return server.pieces().size() > 50; }));
        std::thread broadcaster([&] {
            while (!stop) {
                server.send("to all");
            }
        });
        server.pipe->close();
        const std::size_t received = server.bytes().size();
        stop = true;
        broadcaster.join();
        for (std::thread& sender : senders) {
            sender.join();
        }
        EXPECT_EQ(server.errors(), std::vector<int>());
        EXPECT_EQ(server.bytes().size(), received); // nothing is raised once close has returned
    }
}

std::ptrdiff_t entriesOf(const char* folder) {
    std::error_code none; // not every system has every folder
    const std::filesystem::directory_iterator entries(folder, none);
    return std::distance(begin(entries), end(entries));
}

TEST_F(PipeTest, LeavesNeitherDescriptorsNorThreads) {
    // Counted on a thread of its own: a sanitizer's thread comes with the process's first one, and stays.
    const auto inUse = [] {
        std::pair<std::ptrdiff_t, std::ptrdiff_t> counts;
        std::thread([&] { counts = {entriesOf("/dev/fd"), entriesOf("/proc/self/task")}; }).join();
        return counts;
    };
    const auto before = inUse();
    for (int i = 0; i < 1000; ++i) {
        Listening server(true);
        Listening client(false);
        ASSERT_TRUE(server.start(L"Churn") && client.start(L"Churn"));
        client.send("x");
        if (i % 3 == 0) {
            ASSERT_TRUE(waitUntil([&] { return !server.bytes().empty(); }));
        }
        (i % 2 == 0 ? client : server).pipe.reset();
    }
    EXPECT_TRUE(waitUntil([&] { return inUse() == before; }))
        << inUse().first << " descriptors, " << inUse().second << " threads, before " << before.first << ", "
        << before.second;
}

} // namespace
} // namespace kvn::test
