// SPDX-License-Identifier: MIT

#include "host/posix/PollMainLoop.h"
#include "core/system/WakePipe.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

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
