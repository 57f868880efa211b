// SPDX-License-Identifier: MIT

#include "host/desktop/QtMainLoop.h"

#include "core/system/WakePipe.h"

#include <QCoreApplication>
#include <chrono>
#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using namespace std::chrono_literals;

/// The toolkit may process its events while a task runs, and then it takes the loop's wake-ups, too.
TEST(QtMainLoop, RunsWhatIsPostedWhileTheToolkitProcessesEventsInATask) {
    host::QtMainLoop loop("offscreen");
    const Kvs::WakePipe pipe;
    bool runsNested = false;
    bool isRun = false;
    const auto watch = loop.watchReadable(pipe.descriptor(), [&] {
        pipe.drain();
        runsNested = true;
        loop.post([&] {
            EXPECT_FALSE(runsNested);
            isRun = true;
            loop.quit();
        });
        QCoreApplication::processEvents();
        runsNested = false;
    });
    loop.post([&] { pipe.wake(); });
    const auto began = std::chrono::steady_clock::now();
    loop.postAfter(10s, [] {}); // would wake a loop that has missed the task
    loop.run();
    EXPECT_TRUE(isRun);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
}

} // namespace
} // namespace kvn::test
