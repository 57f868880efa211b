// SPDX-License-Identifier: MIT

#include IMPLEMENTATIONS
#include "core/system/WakePipe.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

#include <ctime>
#include <future>

namespace kvn::test {
namespace {

using std::chrono::steady_clock;

/// Checks what every main loop has to do, whichever call of the system it waits in.
template <class Loop>
class MainLoopContract : public testing::Test {
protected:
    void SetUp() override {
        if (!loop_) {
            GTEST_SKIP() << "this loop needs a window server, and a process of its own";
        }
    }
    steady_clock::duration elapsed() const { return steady_clock::now() - begin_; }

    std::unique_ptr<host::MainLoop> loop_ = makeLoop<Loop>();
    const steady_clock::time_point begin_ = steady_clock::now();
};

TYPED_TEST_SUITE(MainLoopContract, Loops);

TYPED_TEST(MainLoopContract, RunsTasksInTheOrderOfTheirCallsAndTimes) {
    std::string order;
    this->loop_->postAfter(30ms, [&] {
        EXPECT_GE(this->elapsed(), 30ms);
        order += 'd';
    });
    this->loop_->postAfter(10ms, [&] { order += 'c'; });
    this->loop_->post([&] {
        order += 'a';
        this->loop_->post([&] { order += '+'; });
    });
    this->loop_->post([&] { order += 'b'; });
    EXPECT_TRUE(pumpUntil(*this->loop_, [&] { return order.size() == 5; }));
    EXPECT_EQ(order, "ab+cd");
}

TYPED_TEST(MainLoopContract, WakesForTheTasksOfEveryThread) {
    constexpr int kTasks = 1000;
    const auto timer = this->loop_->startTimer(1min, [] {}); // would wake a loop that sleeps on
    std::vector<int> seen[4];
    std::atomic<int> running = 4;
    std::vector<std::thread> threads;
    for (auto& ofThread : seen) {
        threads.emplace_back([&] {
            for (int i = 0; i < kTasks; ++i) {
                const auto ran = std::make_shared<std::promise<void>>();
                this->loop_->post([&ofThread, i, ran] {
                    ofThread.push_back(i);
                    ran->set_value();
                });
                if (i % 37 == 0) {            // the last one, too
                    ran->get_future().wait(); // meanwhile the loop falls asleep
                }
            }
            if (--running == 0) {
                this->loop_->quit();
            }
        });
    }
    this->loop_->run();
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    EXPECT_TRUE(std::all_of(std::begin(seen), std::end(seen), [](const auto& list) {
        return list.size() == kTasks && std::is_sorted(list.begin(), list.end());
    }));
    EXPECT_LT(this->elapsed(), 30s);
}

TYPED_TEST(MainLoopContract, TimersRepeatUntilTheirHandleGoes) {
    int endedByAnother = 0;
    int endedByItself = 0;
    int lasting = 0;
    host::MainLoop::Handle first;
    host::MainLoop::Handle second;
    second = this->loop_->startTimer(2ms, [&, held = std::make_shared<int>(1)] {
        second.reset();
        endedByItself += *held; // what the task holds stays until it returns
    });
    const auto third = this->loop_->startTimer(2ms, [&] {
        first.reset();
        ++lasting;
    });
    const auto idle = std::make_shared<int>();
    first = this->loop_->startTimer(3ms, [&, idle] { ++endedByAnother; }); // always later than the third
    EXPECT_TRUE(pumpUntil(*this->loop_, [&] { return lasting >= 4; }));
    EXPECT_GE(this->elapsed(), 4 * 2ms);
    EXPECT_EQ(endedByItself, 1);
    EXPECT_EQ(endedByAnother, 0);
    EXPECT_EQ(idle.use_count(), 1);
}

TYPED_TEST(MainLoopContract, SkipsTheTicksThatItMissed) {
    constexpr auto kInterval = 10ms;
    int ticks = 0;
    const auto timer = this->loop_->startTimer(kInterval, [&] {
        while (ticks == 0 && this->elapsed() < 11 * kInterval) { // a task that takes too long
        }
        if (++ticks == 5) {
            this->loop_->quit();
        }
    });
    this->loop_->run();
    EXPECT_GE(this->elapsed(), 13 * kInterval); // 11 if the missed ticks had come in a row
}

TYPED_TEST(MainLoopContract, QuitEndsTheRunAfterTheTaskInProgress) {
    int ran = 0;
    for (int i = 0; i < 2; ++i) {
        this->loop_->post([&] {
            ++ran;
            std::thread(&host::MainLoop::quit, this->loop_.get()).join(); // from any thread
        });
    }
    for (int round = 1; round <= 2; ++round) {
        this->loop_->run();
        EXPECT_EQ(ran, round);
    }
    this->loop_->quit();
    this->loop_->run(); // would not return without the call before it
}

TYPED_TEST(MainLoopContract, ThrowsWhatATaskThrowsAndCanRunAgain) {
    Kvs::WakePipe pipe;
    const auto watch = this->loop_->watchReadable(pipe.descriptor(), [&] {
        pipe.drain();
        throw std::runtime_error("of a descriptor");
    });
    this->loop_->post([] { throw std::runtime_error("of a post"); });
    bool ran = false;
    this->loop_->post([&] { ran = true; });
    EXPECT_THROW(this->loop_->run(), std::runtime_error);
    EXPECT_FALSE(ran);
    EXPECT_TRUE(pumpUntil(*this->loop_, [&] { return ran; }));
    pipe.wake();
    EXPECT_THROW(this->loop_->run(), std::runtime_error);
}

TYPED_TEST(MainLoopContract, RunsAReadableDescriptorsTaskUntilTheHandleGoes) {
    Kvs::WakePipe lastingPipe;
    Kvs::WakePipe endingPipe;
    int counts[2] = {};
    const auto held = std::make_shared<int>();
    host::MainLoop::Handle ending;
    const auto lasting = this->loop_->watchReadable(lastingPipe.descriptor(), [&] {
        lastingPipe.drain();
        ++counts[0];
    });
    ending = this->loop_->watchReadable(endingPipe.descriptor(), [&, held] {
        ++counts[1]; // and the descriptor stays readable
        ending.reset();
    });
    endingPipe.wake();
    for (int round = 1; round <= 3; ++round) {
        lastingPipe.wake();
        EXPECT_TRUE(pumpUntil(*this->loop_, [&] { return counts[0] == round; }));
    }
    EXPECT_EQ(counts[1], 1);
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(MainLoopContract, SleepsWhileNoTaskIsDue) {
    Kvs::WakePipe silent;
    const auto watch = this->loop_->watchReadable(silent.descriptor(), [] {});
    const auto timer = this->loop_->startTimer(1h, [] {});
    this->loop_->postAfter(300ms, [&] { this->loop_->quit(); });
    const long switches = contextSwitches();
    const std::clock_t begin = std::clock(); // processor time
    this->loop_->run();
    EXPECT_LE(contextSwitches() - switches, 50); // a few; a tick each millisecond would give 300
    EXPECT_LE(std::clock() - begin, CLOCKS_PER_SEC * 150 / 1000);
}

int caught = 0;

TYPED_TEST(MainLoopContract, TakesASignalUntilTheHandleGoes) {
    const auto former = std::signal(SIGUSR1, [](int) { ++caught; });
    caught = 0;
    int delivered = 0;
    int others = 0;
    const auto other = this->loop_->onSignal(SIGUSR2, [&] { ++others; });
    host::MainLoop::Handle registration;
    for (int round = 1; round <= 2; ++round) {
        registration = this->loop_->onSignal(SIGUSR1, [&, held = std::make_shared<int>(1)] {
            registration.reset();
            delivered += *held; // stays until the task returns
        });
        raise(SIGUSR1);
        raise(SIGUSR2);
        EXPECT_TRUE(pumpUntil(*this->loop_, [&] { return delivered == round && others == round; }));
        EXPECT_EQ(caught, round - 1);
        raise(SIGUSR1); // the former action's again
        EXPECT_EQ(caught, round);
    }
    std::signal(SIGUSR1, former);
}

TYPED_TEST(MainLoopContract, LetsADroppedTaskUseTheLoop) {
    auto timer = std::make_shared<host::MainLoop::Handle>(this->loop_->startTimer(1h, [] {}));
    this->loop_->post([timer] {});
    timer.reset();
    this->loop_.reset(); // drops the task, whose end ends the timer
}

} // namespace
} // namespace kvn::test
