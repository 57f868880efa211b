#include "core/threads/FThread.h"
#include "core/threads/FThreadCondition.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

/// Runs a function and counts itself while it lives.
class Work : public FInvokable<void> {
public:
    Work(std::function<void()> function, std::atomic<int>& living)
        : function_(std::move(function)), living_(living) {
        ++living_;
    }
    ~Work() override { --living_; }
    void invoke() const override { function_(); }

private:
    std::function<void()> function_;
    std::atomic<int>& living_;
};

class FThreadTest : public testing::Test {
protected:
    ~FThreadTest() override {
        EXPECT_TRUE(waitUntil([&] { return living == 0; })) << "work was not deleted";
    }

    bool start(FThread& thread, std::function<void()> function) {
        return thread.execute(std::make_unique<Work>(std::move(function), living));
    }

    std::atomic<bool> go = false;
    std::atomic<int> living = 0;
};

TEST_F(FThreadTest, EveryJoinWaitsForAJoinableJob) {
    FThread thread;
    bool done = false; // joining orders the accesses
    std::atomic<int> joining = 0;
    std::atomic<int> joined = 0;
    thread.setJoinable(true);
    ASSERT_TRUE(start(thread, [&] {
        EXPECT_TRUE(waitUntil([&] { return go.load(); }));
        EXPECT_TRUE(thread.isCurrent()); // also while others join it
        thread.join();                   // on its own thread: must not wait for itself
        done = true;
    }));
    EXPECT_FALSE(thread.isCurrent());
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
    condition.clear();
    EXPECT_EQ(fCondTimedWait(condition.handle(), 0), kCondTimedOut);
    for (int round = 0; round < 50; ++round) {
        condition.clear();
        std::thread other([&] { condition.signal(); });
        EXPECT_EQ(fCondTimedWait(condition.handle(), 60'000), kCondSignalled);
        other.join();
    }
}

TEST(FCondTimedWait, TheDeadlineCarriesIntoSeconds) {
    struct Case {
        timeval now;
        unsigned int milliseconds;
        timespec deadline;
    };
    for (const Case& c : {Case{{7, 0}, 0, {7, 0}}, Case{{7, 600'000}, 1500, {9, 100'000'000}},
                          Case{{7, 1'000}, 999, {8, 0}}, Case{{7, 999}, 999, {7, 999'999'000}},
                          Case{{7, 999'999}, 4'294'967'295, {4'294'975, 294'999'000}}}) {
        const timespec deadline = fDeadlineAfter(c.now, c.milliseconds);
        EXPECT_EQ(deadline.tv_sec, c.deadline.tv_sec) << c.milliseconds;
        EXPECT_EQ(deadline.tv_nsec, c.deadline.tv_nsec) << c.milliseconds;
    }
}

} // namespace
