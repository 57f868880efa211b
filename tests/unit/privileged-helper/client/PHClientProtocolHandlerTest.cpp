#include "privileged-helper/client/PHClientProtocolHandler.h"

#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeHelper.h"
#include "tests/support/FakeSleeper.h"
#include "tests/unit/privileged-helper/client/HelperFixture.h"

#include <cerrno>
#include <sys/time.h>

namespace kvn::test {
namespace {

class PHClientProtocolHandlerTest : public testing::Test {
protected:
    std::size_t countLines(const std::string& text) const {
        const auto lines = log.lines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const auto& line) { return line.find(text) != line.npos; }));
    }

    SocketPair ignoresSigPipe;
    TemporaryRoot root;
    CapturedLog log;
    FakeSleeper sleeper;
    PHClientProtocolHandler handler{Kvs::FileDescriptor(), false, sleeper};
};

TEST_F(PHClientProtocolHandlerTest, TriesThreeTimesASecondApart) {
    const std::size_t around = Kvs::FSysInfoPaths::underRoot("/var/run/.socket").size();
    const auto identifier = [&](std::size_t path) { return std::string(path - around, 'b'); };
    const std::pair<std::string, std::string> cases[] = {
        {"nobody", "Failed to connect Unix domain socket, error: 2"},
        {identifier(103), "Failed to connect Unix domain socket, error: 2"},
        {identifier(104), "Bundle name too long for Unix domain socket name, error: 104"},
        {identifier(200), "Bundle name too long for Unix domain socket name, error: 200"},
    };
    std::size_t round = 0;
    for (const auto& [id, reason] : cases) {
        const std::size_t before = countLines("IOException: " + reason);
        EXPECT_EQ(handler.connectPrivilegedAgent(id), std::nullopt);
        EXPECT_EQ(countLines("IOException: " + reason), before + 3) << id;
        ++round;
        EXPECT_EQ(countLines("Retrying to connect PrivilegedAgent..."), 2 * round);
        EXPECT_EQ(sleeper.slept(), std::vector(3 * round, std::chrono::milliseconds(1000)));
        EXPECT_FALSE(handler.isConnected());
    }
}

TEST_F(PHClientProtocolHandlerTest, EndsTheTimeoutAfterTheHandshake) {
    FakeHelper helper("helper", [](const PHMessage& message) {
        return message.contains("Ctrl") ? PHMessage{{"version", "1.2"}} : PHMessage{{"status", 5}};
    });
    EXPECT_EQ(handler.connectPrivilegedAgent("helper"), "1.2");
    timeval timeout{9, 9};
    socklen_t size = sizeof timeout;
    EXPECT_EQ(::getsockopt(handler.conFd(), SOL_SOCKET, SO_RCVTIMEO, &timeout, &size), 0);
    EXPECT_EQ(std::pair(timeout.tv_sec, timeout.tv_usec), std::pair(time_t{0}, suseconds_t{0}));
    EXPECT_TRUE(log.contains("Connection to PrivilegedAgent established"));
    EXPECT_EQ(handler.uninstallAgent(), 5);
}

TEST_F(PHClientProtocolHandlerTest, GivesUpOnASilentHelper) {
    FakeHelper helper("helper", [](const PHMessage&) { return std::nullopt; });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(handler.connectPrivilegedAgent("helper"), std::nullopt);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
    EXPECT_FALSE(handler.isConnected());
    EXPECT_TRUE(log.contains("PHProtocolhandler Read failed: " + std::to_string(EAGAIN)));
}

} // namespace
} // namespace kvn::test
