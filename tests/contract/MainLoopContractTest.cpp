#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/PumpUntil.h"

#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;

/// A main loop, and how a test makes things happen to it.
struct PollBackend {
    template <class Condition>
    bool pump(Condition condition) {
        return pumpUntil(loop, condition);
    }
    std::chrono::steady_clock::time_point now() const { return std::chrono::steady_clock::now(); }
    void sendSignal(int signal) { ::kill(::getpid(), signal); }
    void makeReadable(Kvs::WakePipe& pipe) { pipe.wake(); }

    host::PollMainLoop loop;
};

struct ManualBackend {
    template <class Condition>
    bool pump(Condition condition) {
        return waitUntil([&] {
            loop.advance(1ms);
            return condition();
        });
    }
    std::chrono::steady_clock::time_point now() const { return clock.steadyNow(); }
    void sendSignal(int signal) { loop.fireSignal(signal); }
    void makeReadable(Kvs::WakePipe& pipe) { loop.fireReadable(pipe.descriptor()); }

    FakeClock clock;
    ManualMainLoop loop{clock};
};

template <class Backend>
class MainLoopContract : public testing::Test, public Backend {
protected:
    host::MainLoop& mainLoop() { return this->loop; }
};

using Backends = testing::Types<PollBackend, ManualBackend>;
TYPED_TEST_SUITE(MainLoopContract, Backends);

TYPED_TEST(MainLoopContract, RunsTasksInTheOrderOfTheirCallsAndTimes) {
    std::string order;
    const auto begin = this->now();
    this->mainLoop().postAfter(30ms, [&] {
        EXPECT_GE(this->now() - begin, 30ms);
        order += 'd';
    });
    this->mainLoop().postAfter(10ms, [&] { order += 'c'; });
    this->mainLoop().post([&] {
        order += 'a';
        this->mainLoop().post([&] { order += '+'; });
    });
    this->mainLoop().post([&] { order += 'b'; });
    EXPECT_TRUE(this->pump([&] { return order.size() == 5; }));
    EXPECT_EQ(order, "ab+cd");
}

TYPED_TEST(MainLoopContract, RunsEveryTaskOfEveryThread) {
    constexpr int kThreads = 4;
    constexpr int kTasks = 1000;
    std::array<std::vector<int>, kThreads> seen;
    std::vector<std::thread> threads;
    for (auto& ofThread : seen) {
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i) {
                this->mainLoop().post([&ofThread, i] { ofThread.push_back(i); });
            }
        });
    }
    EXPECT_TRUE(this->pump([&] {
        return std::all_of(seen.begin(), seen.end(), [](auto& list) { return list.size() == kTasks; });
    }));
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& list : seen) {
        EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
    }
}

TYPED_TEST(MainLoopContract, TimersRepeatUntilTheirHandleGoes) {
    int ended = 0;
    int endedItself = 0;
    int lasting = 0;
    const auto begin = this->now();
    host::MainLoop::Handle first;
    host::MainLoop::Handle second;
    second = this->mainLoop().startTimer(2ms, [&, held = std::make_shared<int>(1)] {
        second.reset();
        endedItself += *held; // what the task holds stays until it returns
    });
    const auto third = this->mainLoop().startTimer(2ms, [&] {
        first.reset();
        ++lasting;
    });
    first = this->mainLoop().startTimer(3ms, [&] { ++ended; }); // always later than the third
    EXPECT_TRUE(this->pump([&] { return lasting >= 4; }));
    EXPECT_GE(this->now() - begin, 4 * 2ms);
    EXPECT_EQ(endedItself, 1);
    EXPECT_EQ(ended, 0);
}

TYPED_TEST(MainLoopContract, AnEndedRegistrationHoldsNothing) {
    const auto held = std::make_shared<int>(1);
    Kvs::WakePipe pipe;
    auto timer = this->mainLoop().startTimer(1h, [held] {});
    auto watch = this->mainLoop().watchReadable(pipe.descriptor(), [held] {});
    auto signal = this->mainLoop().onSignal(SIGUSR1, [held] {});
    EXPECT_GE(held.use_count(), 4);
    timer.reset();
    watch.reset();
    signal.reset();
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(MainLoopContract, QuitEndsTheRunAfterTheTaskInProgress) {
    int ran = 0;
    this->mainLoop().post([&] {
        ++ran;
        this->mainLoop().quit();
    });
    this->mainLoop().post([&] {
        ++ran;
        this->mainLoop().quit();
    });
    this->mainLoop().run();
    EXPECT_EQ(ran, 1);
    this->mainLoop().run();
    EXPECT_EQ(ran, 2);

    this->mainLoop().quit();
    this->mainLoop().run(); // would not return without the call before it
}

TYPED_TEST(MainLoopContract, QuitsFromAnotherThread) {
    std::thread other;
    this->mainLoop().post([&] { other = std::thread([&] { this->mainLoop().quit(); }); });
    this->mainLoop().run();
    other.join();
}

TYPED_TEST(MainLoopContract, SignalsRunTheirTaskUntilTheHandleGoes) {
    int first = 0;
    int second = 0;
    host::MainLoop::Handle secondHandle;
    const auto firstHandle = this->mainLoop().onSignal(SIGUSR1, [&] { ++first; });
    const auto count = [&] {
        ++second;
        if (second == 2) {
            secondHandle.reset();
        }
    };
    secondHandle = this->mainLoop().onSignal(SIGUSR2, count);
    for (int round = 1; round <= 2; ++round) {
        this->sendSignal(SIGUSR1);
        this->sendSignal(SIGUSR2);
        EXPECT_TRUE(this->pump([&] { return first == round && second == round; }));
    }
    EXPECT_FALSE(secondHandle);
    // A new registration gets the signal again.
    secondHandle = this->mainLoop().onSignal(SIGUSR2, count);
    this->sendSignal(SIGUSR2);
    EXPECT_TRUE(this->pump([&] { return second == 3; }));
}

TYPED_TEST(MainLoopContract, ReadableDescriptorsRunTheirTaskUntilTheHandleGoes) {
    Kvs::WakePipe kept;
    Kvs::WakePipe ended;
    int keptCount = 0;
    int endedCount = 0;
    host::MainLoop::Handle endedWatch;
    const auto keptWatch = this->mainLoop().watchReadable(kept.descriptor(), [&] {
        kept.drain();
        ++keptCount;
    });
    endedWatch = this->mainLoop().watchReadable(ended.descriptor(), [&] {
        ++endedCount; // stays readable
        endedWatch.reset();
    });
    this->makeReadable(ended);
    for (int round = 1; round <= 3; ++round) {
        this->makeReadable(kept);
        EXPECT_TRUE(this->pump([&] { return keptCount == round; }));
    }
    EXPECT_EQ(endedCount, 1);
}

} // namespace
} // namespace kvn::test
