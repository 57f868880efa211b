// SPDX-License-Identifier: MIT

#include "remote/platform/settings/RemoteServiceSettings.h"
#include "remote/FXmlConfigFile.h"
#include "tests/support/Test.h"
#include "tests/unit/remote/platform/settings/SettingsFixture.h"

namespace kvn::test {
namespace {

class RemoteServiceSettingsTest : public SettingsFixture {
protected:
    RemoteServiceSettingsTest() {
        fs::create_directories(fs::path(policyPath_).parent_path());
        ::chmod(fs::path(policyPath_).parent_path().c_str(), 0755);
        setenv("HOME", home_.path().c_str(), 1);
    }

    /// Writes the policy with a later time than before.
    void writePolicy(const std::string& content) {
        writeFile(policyPath_, content);
        ::chmod(policyPath_.c_str(), 0644);
        setPolicyTime();
    }
    void setPolicyTime() { fs::last_write_time(policyPath_, policyTime_ += 1s); }

    const std::string policyPath_ = support_ + "/config/KorvaneRemoteservice/settings.xml";
    fs::file_time_type policyTime_ = fs::file_time_type::clock::now();
    TemporaryFolder folder_;
    TemporaryFolder home_;
};

/// Returns the letters of what the user may do: t(ransfer log), s(ession log), p(ause).
std::string allowed(const RemoteServiceSettings& settings) {
    return std::string(settings.changeTransferLogAllowed() ? "t" : "") +
           (settings.changeSessionLogAllowed() ? "s" : "") + (settings.pauseServiceAllowed() ? "p" : "");
}

TEST_F(RemoteServiceSettingsTest, ThePolicyDecidesWhatTheUserMayChange) {
    const std::pair<std::string, std::string> cases[] = {
        {"<S><EnableTransferLog>1</EnableTransferLog><Pauseable>true</Pauseable></S>", "sp"},
        {"<S><EnableClientTransferLog>ON</EnableClientTransferLog><Pauseable>True</Pauseable></S>", "tp"},
        {"<S><Pauseable>1</Pauseable><RemoteAccessIntervalEnabled>on</RemoteAccessIntervalEnabled></S>",
         "ts"},
        {"<S><Pauseable> 1</Pauseable></S>", "ts"},
        {"<S><Pauseable></Pauseable><Pauseable>1</Pauseable></S>", "ts"}, // the first one counts, ...
        {"<S><A><B><Pauseable>&#49;</Pauseable></B></A><Pauseable>0</Pauseable></S>",
         "tsp"}, // ... at any depth
        {"<Pauseable>1</Pauseable>", "ts"},
        {"\xEF\xBB\xBF<S><Pauseable>t<x/>rue</Pauseable></S>\n", "tsp"},
    };
    for (const auto& [policy, may] : cases) {
        writePolicy(policy);
        EXPECT_EQ(allowed(RemoteServiceSettings(prefs_)), may) << policy;
    }
}

TEST_F(RemoteServiceSettingsTest, WithoutAPolicyNothingMayBeChangedAndTheLogsAreOn) {
    const CapturedLog log;
    RemoteServiceSettings settings(prefs_);
    EXPECT_TRUE(log.contains("Failed to load settings file: " + policyPath_));
    EXPECT_EQ(allowed(settings), "");
    settings.setTransferLogEnabled(false);
    settings.setSessionLogEnabled(false, folder_.file("logs"));
    settings.setRemoteAccessIntervalBegin({}, {});
    EXPECT_TRUE(settings.transferLogEnabled() && settings.sessionLogEnabled());
    EXPECT_FALSE(settings.showStatusBarMenu() || settings.changeRemoteAccessIntervalAllowed());
    EXPECT_FALSE(fs::exists(prefsPath_));
}

TEST_F(RemoteServiceSettingsTest, ThePolicyIsReadAgainWhenItsTimeIsLaterAndItCanBeRead) {
    writePolicy("<S><Pauseable>1</Pauseable></S>");
    RemoteServiceSettings settings(prefs_);
    const std::function<void()> policies[] = {
        [&] { writeFile(policyPath_, "<S><Pauseable>0"); },
        [&] { writeFile(policyPath_, "<S>" + std::string(Kvs::FXmlConfigFile::kMaxBytes, ' ') + "</S>"); },
        [&] { ASSERT_EQ(::mkdir(policyPath_.c_str(), 0755), 0); },
        [&] { ASSERT_EQ(::mkfifo(policyPath_.c_str(), 0644), 0); },
        [&] {
            writeFile(policyPath_, "<S></S>");
            ::chmod(policyPath_.c_str(), 0666);
        },
    };
    for (const auto& write : policies) {
        fs::remove(policyPath_);
        write();
        setPolicyTime();
        EXPECT_THAT(logOf([&] { settings.updateSettings(); }),
                    Contains("Failed to load settings file: " + policyPath_));
        EXPECT_EQ(allowed(settings), "tsp");
        EXPECT_THAT(logOf([&] { settings.updateSettings(); }), IsEmpty()) << "read again without a change";
    }
    fs::remove(policyPath_);
    for (const auto& [time, may] :
         {std::pair(policyTime_, "tsp"), {policyTime_ - 1h, "tsp"}, {policyTime_ + 1s, "ts"}}) {
        writeFile(policyPath_, "<S></S>");
        ::chmod(policyPath_.c_str(), 0644);
        fs::last_write_time(policyPath_, time);
        settings.updateSettings();
        EXPECT_EQ(allowed(settings), may);
    }
}

TEST_F(RemoteServiceSettingsTest, TheAdministratorsFolderCountsUntilTheUserMayChooseOne) {
    writePolicy("<S></S>");
    prefs_.setString(folder_.file("admin"), "AdminSessionLogPath");
    RemoteServiceSettings settings(prefs_);
    EXPECT_FALSE(settings.transferLogEnabled() || settings.sessionLogEnabled());
    EXPECT_EQ(settings.sessionLogPath(), folder_.file("admin"));
    settings.setSessionLogEnabled(true, folder_.file("mine/logs"));
    EXPECT_THAT(readFile(prefsPath_), HasSubstr("<key>SessionLogEnabled</key>\n\t<true/>"));
    EXPECT_EQ(RemoteServiceSettings(prefs_).sessionLogPath(), folder_.file("mine/logs"));
    writePolicy("<S><EnableClientTransferLog>1</EnableClientTransferLog></S>");
    EXPECT_EQ(RemoteServiceSettings(prefs_).sessionLogPath(), folder_.file("admin"));
}

TEST_F(RemoteServiceSettingsTest, TheStoredEndDecidesWhetherTheIntervalMayBeChanged) {
    constexpr RemoteServiceSettings::Date kMorning(1709802302s); // 2024-03-07T09:05:02
    writePolicy("<S><RemoteAccessIntervalEnabled>1</RemoteAccessIntervalEnabled></S>");
    RemoteServiceSettings settings(prefs_);
    EXPECT_FALSE(settings.changeRemoteAccessIntervalAllowed());
    const std::tuple<std::string, std::string, bool, bool> cases[] = {
        {"2024-03-07T09:05:02", "2024-03-07T17:05:02", true, true},
        {"", "2024-03-07T17:05:02", true, false},
        {"2024-03-07T09:05:02", "5", true, false},
        {"2024-03-07T09:05:02", "nonsense", false, false},
    };
    for (const auto& [begin, end, allowed, valid] : cases) {
        prefs_.setString(begin, "RemoteAccessIntervalBegin");
        prefs_.setString(end, "RemoteAccessIntervalEnd");
        settings.updateSettings();
        EXPECT_EQ(settings.changeRemoteAccessIntervalAllowed(), allowed) << end;
        const auto shown = settings.remoteAccessIntervalBegin();
        EXPECT_EQ(shown == kMorning, valid) << end; // otherwise now
        EXPECT_EQ((settings.remoteAccessIntervalEnd() - shown) / 1h, valid ? 8 : 0) << end;
    }

    prefs_.setNumber(1, "RemoteAccessIntervalEnd");
    settings.updateSettings();
    settings.setRemoteAccessIntervalBegin(kMorning + 45ms, kMorning + 8h);
    EXPECT_EQ(stored("RemoteAccessIntervalBegin"), "2024-03-07T09:05:02");
    EXPECT_EQ(stored("RemoteAccessIntervalEnd"), "2024-03-07T17:05:02");
    EXPECT_TRUE(settings.remoteAccessIntervalBegin() != kMorning) << "changed before the next update";
}

TEST_F(RemoteServiceSettingsTest, TheSessionLogFolderIsMadeForEveryUserExceptInTheOwnHome) {
    RemoteServiceSettings settings(prefs_);
    EXPECT_EQ(settings.sessionLogPath(), Kvs::FSysInfoPaths::underRoot("/var/log/com.korvane.remote"));
    const std::string linked = folder_.file("linked");
    fs::create_directory_symlink(home_.path(), linked);
    for (const auto& [logs, mode] : {std::pair(folder_.file("a/b"), mode_t{0777}),
                                     {folder_.file("a/c/"), mode_t{0777}},
                                     {home_.file("a/b"), mode_t{0700}},
                                     {linked + "/c", mode_t{0700}},
                                     {home_.path() + "s", mode_t{0777}}}) {
        const auto verify = [&, path = logs] { EXPECT_EQ(settings.verifySessionLogPath(path), path); };
        EXPECT_EQ(modeMadeBy(verify, logs), mode) << logs;
    }
    fs::remove_all(home_.path() + "s");

    writeFile(folder_.file("file"), "");
    const std::string impossible = folder_.file("file/logs");
    EXPECT_THAT(
        logOf([&] { EXPECT_EQ(settings.verifySessionLogPath(impossible), impossible); }),
        Contains(HasSubstr("Failed to create directory for session logs: " + impossible + ", error: ")));
}

} // namespace
} // namespace kvn::test
