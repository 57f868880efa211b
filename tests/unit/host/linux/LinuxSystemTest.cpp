#include "host/Host.h"
#include "host/linux/LinuxSessionInfo.h"
#include "host/linux/LocaleLanguages.h"
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

TEST(LocaleLanguages, FollowTheRulesOfGettext) {
    using Tags = std::vector<std::string>;
    const struct {
        host::LocaleVariables variables;
        Tags tags;
    } cases[] = {
        {{"", "", "", "de_AT.UTF-8"}, {"de-AT"}},
        {{"", "", "it_IT", "de_DE"}, {"it-IT"}},
        {{"", "ca_ES.UTF-8@valencia", "it_IT", "de_DE"}, {"ca-ES"}},
        {{"pt_BR:pt:en", "", "", "de_DE.UTF-8"}, {"pt-BR", "pt", "en"}},
        {{":de::de_AT:de:", "", "", "en_US.UTF-8"}, {"de", "de-AT"}},
        {{"", "", "", "zh_CN.GB18030"}, {"zh-Hans"}},
        {{"zh_HK:zh_SG:zh", "", "", "zh_TW"}, {"zh-Hant", "zh-Hans"}},
        // The locale C, set or by default, has no language, and ends a list.
        {{"", "", "", ""}, {}},
        {{"de", "", "", ""}, {}},
        {{"de", "C.UTF-8", "", "de_DE"}, {}},
        {{"de", "", "POSIX", "de_DE"}, {}},
        {{"fr:C:de", "", "", "de_DE"}, {"fr"}},
        {{"../../tmp/x:d:de_/..:fr_FR", "", "", "de_DE"}, {"fr-FR"}},
    };
    for (const auto& example : cases) {
        EXPECT_EQ(host::preferredLanguagesOf(example.variables), example.tags)
            << example.variables.language << "|" << example.variables.all << "|" << example.variables.lang;
    }
}

TEST(LinuxHost, KnowsItsSession) {
    const host::Host host = host::makeHost(host::FrontEnd::None);
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
