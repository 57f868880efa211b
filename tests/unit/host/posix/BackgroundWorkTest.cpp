#include "host/posix/SystemTime.h"
#include "host/posix/ThreadWorkQueue.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace kvn::test {
namespace {

TEST(ThreadWorkQueue, RunsOneJobAtATimeInOrder) {
    constexpr int kJobs = 200;
    std::vector<int> seen[2]; // unguarded: the queue's thread alone writes, and ends before they are read
    host::ThreadWorkQueue queue;
    std::atomic<int> running = 0;
    std::atomic<int> done = 0;
    std::vector<std::thread> posters;
    for (auto& order : seen) {
        posters.emplace_back([&] {
            for (int i = 0; i < kJobs; ++i) {
                queue.post([&order, &running, &done, i] {
                    EXPECT_EQ(++running, 1);
                    order.push_back(i);
                    --running;
                    ++done;
                });
            }
        });
    }
    EXPECT_TRUE(waitUntil([&] { return done == 2 * kJobs; }));
    for (auto& poster : posters) {
        poster.join();
    }
    queue.end();
    for (const auto& order : seen) {
        EXPECT_EQ(order.size(), kJobs);
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST(ThreadWorkQueue, DropsWhatHasNotBegunAndWaitsForWhatHas) {
    host::ThreadWorkQueue queue;
    std::atomic<bool> begun = false;
    std::atomic<bool> gate = false;
    std::atomic<bool> finished = false;
    std::atomic<bool> ran = false;
    queue.post([&] {
        begun = true;
        waitUntil([&] { return gate.load(); });
        finished = true;
    });
    queue.post([&] { ran = true; });
    EXPECT_TRUE(waitUntil([&] { return begun.load(); }));
    std::thread ender([&] {
        queue.end();
        EXPECT_TRUE(finished);
    });
    EXPECT_TRUE(waitUntil([&] { // the end has begun once a job is refused
        auto held = std::make_shared<int>();
        const std::weak_ptr<int> watched = held;
        queue.post([kept = std::move(held), &ran] { ran = true; });
        return watched.expired();
    }));
    gate = true;
    ender.join();
    EXPECT_FALSE(ran);
}

TEST(InterruptibleSleeper, SleepsUntilItIsInterrupted) {
    using Clock = std::chrono::steady_clock;
    host::InterruptibleSleeper sleeper;
    const auto start = Clock::now();
    sleeper.sleepFor(std::chrono::milliseconds(20));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));

    std::thread sleeping([&] { sleeper.sleepFor(std::chrono::hours(1)); });
    sleeper.interrupt();
    sleeping.join();
    sleeper.sleepFor(std::chrono::hours(1));
    EXPECT_LT(Clock::now() - start, std::chrono::minutes(1));
}

} // namespace
} // namespace kvn::test
