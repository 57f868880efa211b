#include "host/posix/PollMainLoop.h"
#include "core/system/WakePipe.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PumpUntil.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;
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
    getrusage(RUSAGE_SELF, &before);
    loop.run();
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 50); // a few; a tick each millisecond would give 300
    const auto used = [](const rusage& usage) {
        return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    };
    EXPECT_LE(used(after) - used(before), 150ms);
}

int caught = 0;

TEST(PollMainLoop, GivesASignalBackToItsFormerAction) {
    struct sigaction former {};
    former.sa_handler = [](int) { ++caught; };
    struct sigaction original {};
    sigaction(SIGUSR1, &former, &original);
    caught = 0;
    {
        host::PollMainLoop loop;
        int delivered = 0;
        const auto registration = loop.onSignal(SIGUSR1, [&] { ++delivered; });
        raise(SIGUSR1);
        EXPECT_TRUE(pumpUntil(loop, [&] { return delivered == 1; }));
        EXPECT_EQ(caught, 0);
    }
    raise(SIGUSR1);
    EXPECT_EQ(caught, 1);
    sigaction(SIGUSR1, &original, nullptr);
}

TEST(PollMainLoop, DropsADescriptorThatWasClosedUnderIt) {
    CapturedLog log;
    host::PollMainLoop loop;
    int called = 0;
    const int closed = dup(0);
    const auto watch = loop.watchReadable(closed, [&] { ++called; });
    close(closed);
    EXPECT_TRUE(pumpUntil(loop, [&] { return !log.lines().empty(); }));
    EXPECT_EQ(log.lines(), std::vector{"Descriptor " + std::to_string(closed) +
                                       " was closed while the main loop watched it"});
    EXPECT_EQ(called, 0);
}

TEST(PollMainLoop, DroppedTasksMayReachForTheLoop) {
    auto loop = std::make_unique<host::PollMainLoop>();
    auto timer = std::make_shared<host::MainLoop::Handle>(loop->startTimer(1h, [] {}));
    loop->post([timer] {});
    timer.reset();
    loop.reset(); // drops the task, whose end ends the timer
}

} // namespace
} // namespace kvn::test
