#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

/// A main loop, and how a test makes things happen to it.
struct PollBackend {
    template <class Condition>
    bool pump(Condition condition) {
        return pumpUntil(loop, condition);
    }
    auto now() const { return std::chrono::steady_clock::now(); }
    void makeReadable(Kvs::WakePipe& pipe) { pipe.wake(); }

    host::PollMainLoop loop;
};

/// The unit tests' own, which must not behave differently.
struct ManualBackend {
    template <class Condition>
    bool pump(Condition condition) {
        return waitUntil([&] { return loop.advance(1ms), condition(); });
    }
    auto now() const { return clock.steadyNow(); }
    void makeReadable(Kvs::WakePipe& pipe) { loop.fireReadable(pipe.descriptor()); }

    FakeClock clock;
    ManualMainLoop loop{clock};
};

template <class Backend>
class MainLoopContract : public testing::Test, public Backend {};

using Backends = testing::Types<PollBackend, ManualBackend>;
TYPED_TEST_SUITE(MainLoopContract, Backends);

TYPED_TEST(MainLoopContract, RunsTasksInTheOrderOfTheirCallsAndTimes) {
    host::MainLoop& loop = this->loop;
    std::string order;
    const auto begin = this->now();
    loop.postAfter(30ms, [&] {
        EXPECT_GE(this->now() - begin, 30ms);
        order += 'd';
    });
    loop.postAfter(10ms, [&] { order += 'c'; });
    loop.post([&] {
        order += 'a';
        loop.post([&] { order += '+'; });
    });
    loop.post([&] { order += 'b'; });
    EXPECT_TRUE(this->pump([&] { return order.size() == 5; }));
    EXPECT_EQ(order, "ab+cd");
}

TYPED_TEST(MainLoopContract, RunsEveryTaskOfEveryThread) {
    constexpr int kTasks = 1000;
    std::vector<int> seen[4];
    std::vector<std::thread> threads;
    for (auto& ofThread : seen) {
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i) {
                this->loop.post([&ofThread, i] { ofThread.push_back(i); });
            }
        });
    }
    const auto complete = [](const auto& list) {
        return list.size() == kTasks && std::is_sorted(list.begin(), list.end());
    };
    EXPECT_TRUE(this->pump([&] { return std::all_of(std::begin(seen), std::end(seen), complete); }));
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TYPED_TEST(MainLoopContract, TimersRepeatUntilTheirHandleGoes) {
    int endedByAnother = 0;
    int endedByItself = 0;
    int lasting = 0;
    const auto begin = this->now();
    host::MainLoop::Handle first;
    host::MainLoop::Handle second;
    second = this->loop.startTimer(2ms, [&, held = std::make_shared<int>(1)] {
        second.reset();
        endedByItself += *held; // what the task holds stays until it returns
    });
    const auto third = this->loop.startTimer(2ms, [&] {
        first.reset();
        ++lasting;
    });
    const auto idle = std::make_shared<int>();
    first = this->loop.startTimer(3ms, [&, idle] { ++endedByAnother; }); // always later than the third
    EXPECT_TRUE(this->pump([&] { return lasting >= 4; }));
    EXPECT_GE(this->now() - begin, 4 * 2ms);
    EXPECT_EQ(endedByItself, 1);
    EXPECT_EQ(endedByAnother, 0);
    EXPECT_EQ(idle.use_count(), 1);
}

TYPED_TEST(MainLoopContract, QuitEndsTheRunAfterTheTaskInProgress) {
    int ran = 0;
    for (int i = 0; i < 2; ++i) {
        this->loop.post([&] {
            ++ran;
            std::thread(&host::MainLoop::quit, &this->loop).join(); // from any thread
        });
    }
    for (int round = 1; round <= 2; ++round) {
        this->loop.run();
        EXPECT_EQ(ran, round);
    }
    this->loop.quit();
    this->loop.run(); // would not return without the call before it
}

TYPED_TEST(MainLoopContract, RunsAReadableDescriptorsTaskUntilTheHandleGoes) {
    Kvs::WakePipe lastingPipe;
    Kvs::WakePipe endingPipe;
    int counts[2] = {};
    const auto held = std::make_shared<int>();
    host::MainLoop::Handle ending;
    const auto lasting = this->loop.watchReadable(lastingPipe.descriptor(), [&] {
        lastingPipe.drain();
        ++counts[0];
    });
    ending = this->loop.watchReadable(endingPipe.descriptor(), [&, held] {
        ++counts[1]; // and the descriptor stays readable
        ending.reset();
    });
    this->makeReadable(endingPipe);
    for (int round = 1; round <= 3; ++round) {
        this->makeReadable(lastingPipe);
        EXPECT_TRUE(this->pump([&] { return counts[0] == round; }));
    }
    EXPECT_EQ(counts[1], 1);
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
} // namespace kvn::test
