// SPDX-License-Identifier: MIT

#include "host/macos/MacMainLoop.h"
#include "host/macos/MacPowerManagement.h"
#include "host/macos/MacPropertyList.h"
#include "host/macos/MacRunningApplications.h"
#include "host/macos/MacSystemInfo.h"
#include "tests/support/Test.h"

#include <pwd.h>

namespace kvn::test {
namespace {

using host::PropertyValue;

TEST(MacPropertyList, ReadsTheBinaryAndTheOldTextForm) {
    const PropertyValue list{PropertyValue::Dictionary{
        {"k", {PropertyValue::Array{{std::string("a b")}, {PropertyValue::Data{65}}}}}}};
    const std::string binary(
        "bplist00\321\001\002Qk\242\003\004Sa bAA\010\013\015\020\024\000\000\000\000\000\000\001"
        "\001\000\000\000\000\000\000\000\005\000\000\000\000\000\000\000\000\000\000\000\000\000"
        "\000\000\026",
        59);
    for (const std::string& text : {binary, "{ k = (\"a b\", <41>); }"s}) {
        const auto read = host::MacPropertyList().parse(text);
        ASSERT_TRUE(std::holds_alternative<PropertyValue>(read)) << text;
        EXPECT_EQ(std::get<PropertyValue>(read), list) << text;
    }
}

TEST(MacSystemInfo, KnowsTheMachineAndTheUser) {
    const host::MacSystemInfo system;
    EXPECT_TRUE(system.isOperatingSystemAtLeast(11, 0, 0));
    EXPECT_FALSE(system.isOperatingSystemAtLeast(1000, 0, 0));
    EXPECT_GT(system.upTime(), 0s);
    for (const std::string& language : system.preferredLanguages()) {
        EXPECT_THAT(language, testing::MatchesRegex("[a-z]+(-[A-Za-z0-9]+)*"));
    }
    EXPECT_EQ(host::MacSessionInfo().ownSession().userName, getpwuid(geteuid())->pw_name);
}

TEST(MacPowerManagement, ReleasesWhatItAsserted) {
    host::MacMainLoop loop(false);
    host::MacPowerManagement power(loop);
    host::PowerManagement::AssertionId id = 0;
    EXPECT_EQ(power.preventIdleDisplaySleep("test", id), 0);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(power.releaseAssertion(id), 0);
    EXPECT_NE(power.releaseAssertion(id), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(power.registerForSystemPower([](std::uint32_t, std::intptr_t) {}));
        EXPECT_EQ(power.deregisterForSystemPower(), 0);
    }
}

TEST(MacRunningApplications, ListsThisProcessAndKillsNoOther) {
    host::MacRunningApplications running("com.korvane.test");
    EXPECT_THAT(running.instancesOf("com.korvane.test"), Contains(getpid()));
    EXPECT_THAT(running.instancesOf("com.korvane.other"), IsEmpty());
    EXPECT_FALSE(running.forceTerminate(getppid()));
}

} // namespace
} // namespace kvn::test
