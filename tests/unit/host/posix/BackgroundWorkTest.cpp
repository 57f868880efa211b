// SPDX-License-Identifier: MIT

#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/SystemTime.h"
#include "host/posix/ThreadWorkQueue.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

TEST(ThreadWorkQueue, RunsOneJobAtATimeInOrder) {
    constexpr int kJobs = 200;
    std::vector<int> seen[2]; // unguarded: the queue's thread alone writes, and ends before they are read
    host::ThreadWorkQueue queue;
    std::atomic<int> done = 0;
    const auto postAll = [&](std::vector<int>& order) {
        for (int i = 0; i < kJobs; ++i) {
            queue.post([&, i] {
                order.push_back(i);
                ++done;
            });
        }
    };
    std::thread poster(postAll, std::ref(seen[0]));
    postAll(seen[1]);
    poster.join();
    EXPECT_TRUE(waitUntil([&] { return done == 2 * kJobs; }));
    queue.end();
    for (const auto& order : seen) {
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST(ThreadWorkQueue, DropsWhatHasNotBegunAndWaitsForWhatHas) {
    host::ThreadWorkQueue queue;
    std::atomic<bool> begun = false;
    std::atomic<bool> gate = false;
    std::atomic<bool> finished = false;
    queue.post([&] {
        begun = true;
        waitUntil([&] { return gate.load(); });
        finished = true;
    });
    queue.post([] { ADD_FAILURE(); });
    EXPECT_TRUE(waitUntil([&] { return begun.load(); }));
    std::thread ender([&] {
        queue.end();
        EXPECT_TRUE(finished);
    });
    EXPECT_TRUE(waitUntil([&] { // the end has begun once a job is refused
        auto held = std::make_shared<int>();
        const std::weak_ptr<int> watched = held;
        queue.post([kept = std::move(held)] { ADD_FAILURE(); });
        return watched.expired();
    }));
    gate = true;
    ender.join();
}

TEST(InterruptibleSleeper, SleepsUntilItIsInterrupted) {
    using Clock = std::chrono::steady_clock;
    host::InterruptibleSleeper sleeper;
    const auto start = Clock::now();
    sleeper.sleepFor(20ms);
    EXPECT_GE(Clock::now() - start, 20ms);

    std::thread sleeping([&] { sleeper.sleepFor(1h); });
    sleeper.interrupt();
    sleeping.join();
    sleeper.sleepFor(1h);
    EXPECT_LT(Clock::now() - start, 1min);
}

/// The service can ask for many launches at once, each of which takes milliseconds.
TEST(PollMainLoop, ServesDescriptorsWhileManyTasksAreDue) {
    host::PollMainLoop loop;
    Kvs::WakePipe pipe;
    int ran = 0;
    int ranBeforeInput = 0;
    const auto input = loop.watchReadable(pipe.descriptor(), [&] {
        pipe.drain();
        ranBeforeInput = ran;
    });
    pipe.wake();
    constexpr int kTasks = 4;
    for (int i = 0; i < kTasks; ++i) {
        loop.post([&] {
            const auto end = std::chrono::steady_clock::now() + 15ms;
            while (std::chrono::steady_clock::now() < end) {
            }
            ++ran;
        });
    }
    EXPECT_TRUE(pumpUntil(loop, [&] { return ran == kTasks; }));
    EXPECT_EQ(ranBeforeInput, 1);
}

} // namespace
} // namespace kvn::test
