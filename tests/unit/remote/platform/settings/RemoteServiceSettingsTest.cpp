#include "remote/platform/settings/RemoteServiceSettings.h"
#include "core/base/Errors.h"
#include "core/text/FGStr.h"
#include "core/time/FTime.h"
#include "remote/FXmlConfigFile.h"
#include "tests/unit/remote/platform/settings/SettingsFixture.h"

#include <fcntl.h>

namespace kvn::test {
namespace {

using testing::HasSubstr;

class RemoteServiceSettingsTest : public SettingsFixture {
protected:
    /// Writes the policy with a later time than before.
    void writePolicy(const std::string& content) {
        writeFile(policyPath_, content);
        std::filesystem::last_write_time(policyPath_, policyTime_ += std::chrono::seconds(1));
    }

    RemoteAppSuitePrefs prefs_{"com.korvane.remote", lists_};
    std::filesystem::file_time_type policyTime_ = std::filesystem::file_time_type::clock::now();
};

/// What the user may do: t(ransfer log), s(ession log), p(ause).
std::string allowed(const RemoteServiceSettings& settings) {
    return std::string(settings.changeTransferLogAllowed() ? "t" : "") +
           (settings.changeSessionLogAllowed() ? "s" : "") + (settings.pauseServiceAllowed() ? "p" : "");
}

TEST_F(RemoteServiceSettingsTest, ThePolicyDecidesWhatTheUserMayChange) {
    const struct {
        std::string policy;
        std::string may;
    } cases[] = {
        {"<S></S>", "ts"},
        {"<S><EnableTransferLog>1</EnableTransferLog><Pauseable>true</Pauseable></S>", "sp"},
        {"<S><EnableClientTransferLog>ON</EnableClientTransferLog><Pauseable>True</Pauseable></S>", "tp"},
        {"<S><Pauseable>1</Pauseable><RemoteAccessIntervalEnabled>on</RemoteAccessIntervalEnabled></S>",
         "ts"},
        {"<S><Pauseable>yes</Pauseable></S>", "ts"},
        {"<S><Pauseable> 1</Pauseable></S>", "ts"},
        {"<S><Pauseable></Pauseable><Pauseable>1</Pauseable></S>", "ts"},
        {"<S><A><B><Pauseable>&#49;</Pauseable></B></A><Pauseable>0</Pauseable></S>", "tsp"},
        {"<S><pauseable>1</pauseable></S>", "ts"},
        {"<Pauseable>1</Pauseable>", "ts"},
        {"\xEF\xBB\xBF<S><Pauseable>t<x/>rue</Pauseable></S>\n", "tsp"},
    };
    for (const auto& c : cases) {
        writePolicy(c.policy);
        EXPECT_EQ(allowed(RemoteServiceSettings(prefs_)), c.may) << c.policy;
    }
}

TEST_F(RemoteServiceSettingsTest, WithoutAPolicyNothingMayBeChangedAndTheLogsAreOn) {
    EXPECT_THAT(logOf([&] {
                    RemoteServiceSettings settings(prefs_);
                    EXPECT_EQ(allowed(settings), "");
                    settings.setTransferLogEnabled(false);
                    settings.setSessionLogEnabled(false, folder_.file("logs"));
                    settings.setRemoteAccessIntervalBegin({}, {});
                    EXPECT_TRUE(settings.transferLogEnabled());
                    EXPECT_TRUE(settings.sessionLogEnabled());
                    EXPECT_FALSE(settings.changeRemoteAccessIntervalAllowed());
                    EXPECT_FALSE(settings.showStatusBarMenu());
                }),
                HasSubstr("Failed to load settings file: " + policyPath_));
    EXPECT_FALSE(std::filesystem::exists(prefsPath_));
}

TEST_F(RemoteServiceSettingsTest, ThePolicyIsReadAgainWhenItsTimeMovesForward) {
    const std::string pauseable = "<S><Pauseable>1</Pauseable></S>";
    writePolicy(pauseable);
    RemoteServiceSettings settings(prefs_);
    writeFile(policyPath_, "<S></S>");
    for (const auto time : {policyTime_, policyTime_ - std::chrono::hours(1)}) {
        std::filesystem::last_write_time(policyPath_, time);
        settings.updateSettings();
        EXPECT_EQ(allowed(settings), "tsp");
    }
    writePolicy("<S></S>");
    settings.updateSettings();
    EXPECT_EQ(allowed(settings), "ts");
}

TEST_F(RemoteServiceSettingsTest, APolicyThatCannotBeReadLeavesThePermissionsAsTheyWere) {
    writePolicy("<S><Pauseable>1</Pauseable></S>");
    RemoteServiceSettings settings(prefs_);
    const std::string large = "<S>" + std::string(Kvs::FXmlConfigFile::kMaxBytes, ' ') + "</S>";
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "<S>";
    }
    for (const std::string& content : {std::string(), std::string("<S><Pauseable>0"), large, deep}) {
        writePolicy(content);
        EXPECT_THAT(logOf([&] { settings.updateSettings(); }),
                    HasSubstr("Failed to load settings file: " + policyPath_));
        EXPECT_EQ(allowed(settings), "tsp");
        EXPECT_EQ(logOf([&] { settings.updateSettings(); }), "") << "read again without a change";
    }
    for (const bool directory : {true, false}) {
        std::filesystem::remove(policyPath_);
        ASSERT_EQ(directory ? ::mkdir(policyPath_.c_str(), 0755) : ::mkfifo(policyPath_.c_str(), 0644), 0);
        std::filesystem::last_write_time(policyPath_, policyTime_ += std::chrono::seconds(1));
        EXPECT_THAT(logOf([&] { settings.updateSettings(); }), HasSubstr("Failed to load settings file: "));
        EXPECT_EQ(allowed(settings), "tsp");
    }
}

TEST_F(RemoteServiceSettingsTest, TheUsersValuesComeFromThePreferences) {
    writePolicy("<S></S>");
    prefs_.setString(folder_.file("admin"), "AdminSessionLogPath");
    RemoteServiceSettings settings(prefs_);
    EXPECT_FALSE(settings.transferLogEnabled());
    EXPECT_FALSE(settings.sessionLogEnabled());
    EXPECT_EQ(settings.sessionLogPath(), folder_.file("admin"));

    settings.setTransferLogEnabled(true);
    settings.setSessionLogEnabled(true, folder_.file("mine/logs"));
    settings.setShowStatusBarMenu(true);
    settings.setLastClientProcessInfo("info");
    EXPECT_THAT(readFile(prefsPath_), HasSubstr("<key>TransferLogEnabled</key>\n\t<true/>"));
    EXPECT_EQ(prefs_.stringForKey("LastClientProcessInfo"), "info");

    const RemoteServiceSettings later(prefs_);
    EXPECT_TRUE(later.transferLogEnabled());
    EXPECT_TRUE(later.sessionLogEnabled());
    EXPECT_EQ(later.sessionLogPath(), folder_.file("mine/logs"));
    EXPECT_TRUE(later.showStatusBarMenu());

    writePolicy("<S><EnableClientTransferLog>1</EnableClientTransferLog></S>");
    EXPECT_EQ(RemoteServiceSettings(prefs_).sessionLogPath(), folder_.file("admin"));
}

TEST_F(RemoteServiceSettingsTest, TheStoredEndDecidesAboutTheInterval) {
    const std::string enabled = "<S><RemoteAccessIntervalEnabled>1</RemoteAccessIntervalEnabled></S>";
    const auto date = [](unsigned hour) { return *Kvs::DateWithFTime({2024, 3, 7, hour, 5, 2, 0}); };
    writePolicy(enabled);
    RemoteServiceSettings settings(prefs_);
    EXPECT_FALSE(settings.changeRemoteAccessIntervalAllowed());

    const struct {
        std::string begin;
        std::string end;
        bool allowed;
        bool valid;
    } cases[] = {
        {"2024-03-07T09:05:02", "2024-03-07T17:05:02", true, true},
        {"", "2024-03-07T17:05:02", true, false},
        {"2024-03-07T09:05:02", "5", true, false},
        {"2024-03-07T09:05:02", "", false, false},
        {"2024-03-07T09:05:02", "nonsense", false, false},
    };
    for (const auto& c : cases) {
        prefs_.setString(c.begin, "RemoteAccessIntervalBegin");
        prefs_.setString(c.end, "RemoteAccessIntervalEnd");
        const auto before = std::chrono::system_clock::now() - std::chrono::seconds(1);
        settings.updateSettings();
        EXPECT_EQ(settings.changeRemoteAccessIntervalAllowed(), c.allowed) << c.end;
        if (c.valid) {
            EXPECT_EQ(settings.remoteAccessIntervalBegin(), date(9));
            EXPECT_EQ(settings.remoteAccessIntervalEnd(), date(17));
        } else {
            EXPECT_GT(settings.remoteAccessIntervalBegin(), before) << c.end;
            EXPECT_EQ(settings.remoteAccessIntervalBegin(), settings.remoteAccessIntervalEnd());
        }
    }
}

TEST_F(RemoteServiceSettingsTest, ANewIntervalShowsAtTheNextUpdate) {
    prefs_.setNumber(1, "RemoteAccessIntervalEnd");
    RemoteServiceSettings settings(prefs_);
    const auto old = settings.remoteAccessIntervalBegin();
    const auto begin = *Kvs::DateWithFTime({2024, 3, 7, 9, 5, 2, 0});
    settings.setRemoteAccessIntervalBegin(begin + std::chrono::milliseconds(45),
                                          begin + std::chrono::hours(8));
    EXPECT_EQ(prefs_.stringForKey("RemoteAccessIntervalBegin"), "2024-03-07T09:05:02");
    EXPECT_EQ(prefs_.stringForKey("RemoteAccessIntervalEnd"), "2024-03-07T17:05:02");
    EXPECT_EQ(settings.remoteAccessIntervalBegin(), old);
    settings.updateSettings();
    EXPECT_EQ(settings.remoteAccessIntervalBegin(), begin);
}

TEST_F(RemoteServiceSettingsTest, TheSessionLogFolderIsMadeForEverybody) {
    RemoteServiceSettings settings(prefs_);
    EXPECT_EQ(settings.sessionLogPath(), folder_.path() + "/var/log/com.korvane.remote");
    const WithUmask narrow(077);
    EXPECT_EQ(settings.verifySessionLogPath(folder_.file("a/b")), folder_.file("a/b"));
    EXPECT_EQ(modeOf(folder_.file("a/b")), mode_t{0777});

    writeFile(folder_.file("file"), "");
    const std::string impossible = folder_.file("file/logs");
    EXPECT_THAT(logOf([&] { EXPECT_EQ(settings.verifySessionLogPath(impossible), impossible); }),
                HasSubstr("Failed to create directory for session logs: " + impossible + ", error: "));
}

TEST_F(RemoteServiceSettingsTest, AReadErrorOfTheLoaderIsAnException) {
    Kvs::FXmlConfigFile file;
    EXPECT_FALSE(file.loadFromFile(L"/nowhere/settings.xml"));
    EXPECT_EQ(file.getString(L"a", L"default"), L"default");
    EXPECT_TRUE(file.getBool(L"a", true));
    try {
        file.loadFromFile(Kvs::fWiden(folder_.path()));
        FAIL();
    } catch (const Kvs::FException& error) {
        EXPECT_STREQ(error.what(), "Reading settings.xml failed");
    }
}

} // namespace
} // namespace kvn::test
