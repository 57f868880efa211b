#include "host/posix/PollMainLoop.h"
#include "core/system/WakePipe.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

#include <ctime>
#include <future>

namespace kvn::test {
namespace {

using std::chrono::steady_clock;

TEST(PollMainLoop, SkipsTheTicksThatItMissed) {
    constexpr auto kInterval = 10ms;
    host::PollMainLoop loop;
    int ticks = 0;
    const auto begin = steady_clock::now();
    const auto timer = loop.startTimer(kInterval, [&] {
        while (ticks == 0 && steady_clock::now() < begin + 11 * kInterval) { // a task that takes too long
        }
        if (++ticks == 5) {
            loop.quit();
        }
    });
    loop.run();
    EXPECT_GE(steady_clock::now() - begin, 13 * kInterval); // 11 if the missed ticks had come in a row
}

TEST(PollMainLoop, SleepsWhileNothingIsDue) {
    host::PollMainLoop loop;
    Kvs::WakePipe silent;
    const auto watch = loop.watchReadable(silent.descriptor(), [] {});
    const auto timer = loop.startTimer(1h, [] {});
    loop.postAfter(300ms, [&] { loop.quit(); });
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    const std::clock_t begin = std::clock(); // processor time
    loop.run();
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 50); // a few; a tick each millisecond would give 300
    EXPECT_LE(std::clock() - begin, CLOCKS_PER_SEC * 150 / 1000);
}

TEST(PollMainLoop, WakesForTheTasksOfOtherThreads) {
    host::PollMainLoop loop;
    const auto timer = loop.startTimer(1min, [] {}); // would wake a loop that sleeps on
    const auto begin = steady_clock::now();
    std::thread other([&] {
        for (int i = 0; i < 20; ++i) {
            const auto ran = std::make_shared<std::promise<void>>();
            loop.post([ran] { ran->set_value(); });
            ran->get_future().wait(); // meanwhile the loop falls asleep again
        }
        loop.quit();
    });
    loop.run();
    other.join();
    EXPECT_LT(steady_clock::now() - begin, 30s);
}

int caught = 0;

TEST(PollMainLoop, TakesASignalUntilTheHandleGoes) {
    const auto former = std::signal(SIGUSR1, [](int) { ++caught; });
    caught = 0;
    host::PollMainLoop loop;
    int delivered = 0;
    int others = 0;
    const auto other = loop.onSignal(SIGUSR2, [&] { ++others; });
    host::MainLoop::Handle registration;
    for (int round = 1; round <= 2; ++round) {
        registration = loop.onSignal(SIGUSR1, [&, held = std::make_shared<int>(1)] {
            registration.reset();
            delivered += *held; // stays until the task returns
        });
        raise(SIGUSR1);
        raise(SIGUSR2);
        EXPECT_TRUE(pumpUntil(loop, [&] { return delivered == round && others == round; }));
        EXPECT_EQ(caught, round - 1);
        raise(SIGUSR1); // the former action's again
        EXPECT_EQ(caught, round);
    }
    std::signal(SIGUSR1, former);
}

TEST(PollMainLoop, DropsADescriptorThatWasClosedUnderIt) {
    const CapturedLog log;
    host::PollMainLoop loop;
    const int closed = dup(0);
    const auto watch = loop.watchReadable(closed, [] { ADD_FAILURE(); });
    close(closed);
    EXPECT_TRUE(pumpUntil(loop, [&] { return !log.lines().empty(); }));
    EXPECT_EQ(log.lines(), std::vector{"Descriptor " + std::to_string(closed) +
                                       " was closed while the main loop watched it"});
}

TEST(PollMainLoop, LetsADroppedTaskUseTheLoop) {
    auto loop = std::make_unique<host::PollMainLoop>();
    auto timer = std::make_shared<host::MainLoop::Handle>(loop->startTimer(1h, [] {}));
    loop->post([timer] {});
    timer.reset();
    loop.reset(); // drops the task, whose end ends the timer
}

} // namespace
} // namespace kvn::test
