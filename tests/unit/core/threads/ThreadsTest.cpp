// SPDX-License-Identifier: MIT

#include "core/threads/FThread.h"
#include "core/threads/FThreadCondition.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

class FThreadTest : public testing::Test {
protected:
    ~FThreadTest() override {
        EXPECT_TRUE(waitUntil([&] { return living.use_count() == 1; })) << "work was not deleted";
    }

    bool start(FThread& thread, std::function<void()> function) {
        struct Work : FInvokable<void> {
            void invoke() const override { function(); }
            std::function<void()> function;
        };
        auto work = std::make_unique<Work>();
        work->function = [function, held = living] { function(); };
        return thread.execute(std::move(work));
    }

    std::atomic<bool> go = false;
    const std::shared_ptr<int> living = std::make_shared<int>(); // held by all work
};

TEST_F(FThreadTest, EveryJoinWaitsForAJoinableJob) {
    FThread thread;
    bool done = false; // joining orders the accesses
    std::atomic<int> joining = 0, joined = 0;
    thread.setJoinable(true);
    ASSERT_TRUE(start(thread, [&] {
        EXPECT_TRUE(waitUntil([&] { return go.load(); }));
        EXPECT_TRUE(thread.isCurrent()); // also while others join it
        thread.join();                   // on its own thread: must not wait for itself
        done = true;
    }));
    std::vector<std::thread> joiners;
    for (int i = 0; i < 3; ++i) {
        joiners.emplace_back([&] {
            ++joining;
            thread.join();
            EXPECT_TRUE(done);
            ++joined;
        });
    }
    EXPECT_TRUE(waitUntil([&] { return joining == 3; }));
    EXPECT_FALSE(waitUntil([&] { return joined > 0; }, std::chrono::milliseconds(20)));
    go = true;
    for (std::thread& joiner : joiners) {
        joiner.join();
    }
    thread.join(); // with no job left
    EXPECT_FALSE(thread.isCurrent());
}

TEST_F(FThreadTest, NewWorkAndTheRecordsEndAbandonAJob) {
    std::atomic<int> done = 0;
    {
        FThread thread;
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(start(thread, [&] {
                EXPECT_TRUE(waitUntil([&] { return go.load(); }));
                ++done;
            }));
        }
        thread.join(); // not joinable: returns at once, while the jobs still wait
    }
    EXPECT_EQ(done, 0);
    go = true;
    EXPECT_TRUE(waitUntil([&] { return done == 3; }));
}

TEST(FCondTimedWait, WaitsForTheFlagOrTheTime) {
    FThreadCondition condition;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(fCondTimedWait(condition.handle(), 0), kCondTimedOut);
    EXPECT_EQ(fCondTimedWait(condition.handle(), 20), kCondTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(19)); // clocks differ
    condition.signal();
    EXPECT_EQ(fCondTimedWait(condition.handle(), 0), kCondSignalled);
    EXPECT_EQ(fCondTimedWait(condition.handle(), 60'000), kCondSignalled);
    for (int round = 0; round < 50; ++round) {
        condition.clear();
        EXPECT_EQ(fCondTimedWait(condition.handle(), 0), kCondTimedOut);
        std::thread other([&] { condition.signal(); });
        EXPECT_EQ(fCondTimedWait(condition.handle(), 60'000), kCondSignalled);
        other.join();
    }
}

TEST(FCondTimedWait, TheDeadlineCarriesIntoSeconds) {
    const auto after = [](timeval now, unsigned int milliseconds) {
        const timespec deadline = fDeadlineAfter(now, milliseconds);
        return std::pair<long, long>(deadline.tv_sec, deadline.tv_nsec);
    };
    EXPECT_EQ(after({7, 1'000}, 999), std::pair(8L, 0L));
    EXPECT_EQ(after({7, 999}, 999), std::pair(7L, 999'999'000L));
    EXPECT_EQ(after({7, 999'999}, 4'294'967'295), std::pair(4'294'975L, 294'999'000L));
}

} // namespace
