#include "host/Host.h"
#include "host/linux/LinuxSessionInfo.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace kvn::test {
namespace {

TEST(LinuxSessionInfo, ReadsTheAuditSession) {
    const std::pair<const char*, std::optional<std::uint64_t>> cases[] = {
        {"3", 3},
        {"4294967294\n", 4294967294},
        {"4294967295", std::nullopt}, // no login has set it
        {"4294967296", std::nullopt},
        {"", std::nullopt},
        {"-1", std::nullopt},
        {"3x", std::nullopt},
    };
    for (const auto& [text, session] : cases) {
        EXPECT_EQ(host::parseAuditSession(text), session) << text;
    }
}

TEST(LinuxHost, IsCompleteAndKnowsItsSession) {
    const host::Host host = host::makeHost();
    EXPECT_TRUE(host.mainLoop && host.clock && host.processRunner && host.propertyList && host.bundle &&
                host.powerManagement && host.pointer);

    const auto session = host.sessionInfo->ownSession();
    const auto audit = host::parseAuditSession(readFile("/proc/self/sessionid"));
    EXPECT_EQ(session.identifier, audit.value_or(static_cast<std::uint64_t>(getsid(0))));
    const passwd* user = getpwuid(getuid());
    EXPECT_EQ(session.userName, user ? user->pw_name : std::to_string(getuid()));

    const double upTime = std::stod(readFile("/proc/uptime"));
    EXPECT_NEAR(static_cast<double>(host.systemInfo->upTime().count()), upTime, 60);
}

} // namespace
} // namespace kvn::test
