#include "core/system/WakePipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace kvn::test {
namespace {

TEST(WakePipeTest, WakesAndNeverBlocks) {
    const Kvs::WakePipe pipe;
    pollfd polled = {pipe.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 0), 0);
    for (int i = 0; i < 100'000; ++i) { // more than a pipe holds
        pipe.wake();
    }
    EXPECT_EQ(::poll(&polled, 1, 0), 1);
    pipe.drain();
    pipe.drain();
    EXPECT_EQ(::poll(&polled, 1, 0), 0);
    EXPECT_EQ(::fcntl(pipe.descriptor(), F_GETFD), FD_CLOEXEC);
}

} // namespace
} // namespace kvn::test
