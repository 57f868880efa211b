#include "privileged-helper/client/PHClientProtocolHandler.h"
#include "tests/support/Test.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeHelper.h"
#include "tests/support/FakeSleeper.h"

#include <sys/time.h>

namespace kvn::test {
namespace {

class PHClientProtocolHandlerTest : public testing::Test {
protected:
    PHClientProtocolHandlerTest() { std::signal(SIGPIPE, SIG_IGN); }

    TemporaryRoot root;
    CapturedLog log;
    FakeSleeper sleeper;
    PHClientProtocolHandler handler{Kvs::FileDescriptor(), false, sleeper};
};

TEST_F(PHClientProtocolHandlerTest, TriesThreeTimesASecondApart) {
    const std::size_t around = Kvs::FSysInfoPaths::underRoot("/var/run/.socket").size();
    const std::pair<std::size_t, std::string> cases[] = {
        {103, "Failed to connect Unix domain socket, error: 2"},
        {104, "Bundle name too long for Unix domain socket name, error: 104"},
    };
    for (const auto& [length, reason] : cases) {
        const std::size_t before = log.lines().size();
        EXPECT_EQ(handler.connectPrivilegedAgent(std::string(length - around, 'b')), std::nullopt);
        auto lines = log.lines();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
        const std::string failed = "IOException: " + reason;
        const std::string again = "Retrying to connect PrivilegedAgent...";
        EXPECT_EQ(lines, (std::vector{failed, again, failed, again, failed}));
        EXPECT_FALSE(handler.isConnected());
    }
    EXPECT_EQ(sleeper.slept(), std::vector(6, std::chrono::milliseconds(1000)));
}

TEST_F(PHClientProtocolHandlerTest, EndsTheReadTimeoutAfterTheHandshake) {
    FakeHelper helper("helper", [](const PHMessage& message) {
        return stringIn(message, "Ctrl") ? PHMessage{{"version", "1.2"}} : PHMessage{{"status", 5}};
    });
    EXPECT_EQ(handler.connectPrivilegedAgent("helper"), "1.2");
    timeval timeout{9, 9};
    socklen_t size = sizeof timeout;
    EXPECT_EQ(::getsockopt(handler.conFd(), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
    EXPECT_EQ(std::pair(timeout.tv_sec, timeout.tv_usec), std::pair(time_t{0}, suseconds_t{0}));
    EXPECT_TRUE(log.contains("Connection to PrivilegedAgent established"));
    EXPECT_EQ(handler.uninstallAgent(), 5);
}

} // namespace
} // namespace kvn::test
