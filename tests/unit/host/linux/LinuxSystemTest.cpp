#include "core/system/FSysInfoPaths.h"
#include "host/Host.h"
#include "host/linux/LinuxSessionInfo.h"
#include "host/linux/LinuxSystemInfo.h"
#include "host/linux/SandboxPrivacy.h"
#include "host/plist/XmlPropertyList.h"
#include "tests/support/Test.h"

#include <pwd.h>

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

TEST(SandboxPrivacy, GrantsWhatItsFileDoesNotRefuse) {
    const TemporaryFolder root;
    Kvs::FSysInfoPaths::setRoot(root.path());
    std::filesystem::create_directories(root.file("var/db"));
    const host::XmlPropertyList propertyLists;
    host::SandboxPrivacy privacy("KvnGUIAgent", propertyLists);
    const std::string own = "<dict><key>KvnGUIAgent</key>";
    const struct {
        std::string contents; // of the file; none when empty
        bool accessibility, screenRecording, complains;
    } cases[] = {
        {"", true, true, false},
        {"<dict><key>Other</key><false/></dict>", true, true, false},
        {own + "<dict><key>accessibility</key><false/></dict></dict>", false, true, false},
        {own + "<dict><key>screenRecording</key><integer>1</integer></dict></dict>", true, false, false},
        {own + "<true/></dict>", false, false, true},
        {"<true/>", false, false, true},
        {"garbage", false, false, true},
    };
    for (const auto& [contents, accessibility, screenRecording, complains] : cases) {
        if (!contents.empty()) {
            writeFile(root.file("var/db/com.korvane.remote.privacy.plist"),
                      "<plist version=\"1.0\">" + contents + "</plist>");
        }
        CapturedLog log;
        EXPECT_EQ(privacy.isAccessibilityTrusted(false), accessibility) << contents;
        EXPECT_EQ(privacy.onScreenWindows().value().at(0).name.has_value(), screenRecording) << contents;
        EXPECT_EQ(!log.lines().empty(), complains) << contents;
        EXPECT_EQ(privacy.isAccessibilityTrusted(true), accessibility);
        EXPECT_EQ(log.contains("asked to allow KvnGUIAgent: accessibility"), !accessibility);
        EXPECT_EQ(privacy.requestScreenCapture(), screenRecording);
        EXPECT_EQ(log.contains("asked to allow KvnGUIAgent: screen recording"), !screenRecording);
    }
    Kvs::FSysInfoPaths::setRoot("");
}

TEST(LinuxHost, KnowsItsSessionAndUpTime) {
    const host::Host host = host::makeHost(host::FrontEnd::None);
    const auto session = host.sessionInfo->ownSession();
    const auto audit = host::parseAuditSession(readFile("/proc/self/sessionid"));
    EXPECT_EQ(session.identifier, audit.value_or(static_cast<std::uint64_t>(getsid(0))));
    const passwd* user = getpwuid(getuid());
    EXPECT_EQ(session.userName, user ? user->pw_name : std::to_string(getuid()));

    const double upTime = std::stod(readFile("/proc/uptime"));
    EXPECT_NEAR(static_cast<double>(host.systemInfo->upTime().count()), upTime, 60);
}

TEST(LinuxHost, GuardsPrivacyUnderARootOnly) {
    for (const std::string root : {"/nowhere", ""}) {
        Kvs::FSysInfoPaths::setRoot(root);
        EXPECT_EQ(host::makeHost(host::FrontEnd::None).privacyPermissions->isGuarded(), !root.empty());
    }
}

} // namespace
} // namespace kvn::test
