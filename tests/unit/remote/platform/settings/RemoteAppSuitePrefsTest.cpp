#include "tests/unit/remote/platform/settings/SettingsFixture.h"

#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace kvn::test {
namespace {

using testing::HasSubstr;
using Number = RemoteAppSuitePrefs::Number;

class RemoteAppSuitePrefsTest : public SettingsFixture {
protected:
    int partner(const std::string& arguments) const {
        return std::system((KVN_PARTNER " " + arguments).c_str());
    }
    std::string quotedPath() const { return "'" + prefsPath_ + "'"; }
};

TEST_F(RemoteAppSuitePrefsTest, TheFirstWriteMakesAFileForEverybody) {
    EXPECT_EQ(logOf([&] {
                  RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
                  EXPECT_EQ(prefs.numberForKey("a"), std::nullopt);
                  const WithUmask narrow(077);
                  prefs.setNumber(5, "a");
                  EXPECT_EQ(::umask(077), mode_t{077});
                  EXPECT_EQ(modeOf(prefsPath_), mode_t{0666});
                  EXPECT_EQ(prefs.numberForKey("a"), Number(std::int64_t{5}));
              }),
              "");
}

TEST_F(RemoteAppSuitePrefsTest, ConvertsBetweenTextsAndNumbers) {
    const struct {
        std::string value;
        std::optional<std::string> text;
        std::optional<Number> number;
    } cases[] = {
        {"<string>1</string>", "1", 1.0},
        {"<string> -2.5e1 apples</string>", " -2.5e1 apples", -25.0},
        {"<string>2024-03-07T09:05:02</string>", "2024-03-07T09:05:02", 2024.0},
        {"<string>12abc</string>", "12abc", 12.0},
        {"<string>1e</string>", "1e", 1.0},
        {"<string>inf</string>", "inf", 0.0},
        {"<string></string>", "", 0.0},
        {"<integer>5</integer>", "5", std::int64_t{5}},
        {"<integer>18446744073709551615</integer>", "18446744073709551615", std::uint64_t{0} - 1},
        {"<real>0.1</real>", "0.1", 0.1},
        {"<real>5</real>", "5", 5.0},
        {"<true/>", "1", true},
        {"<date>2024-03-07T09:05:02Z</date>", std::nullopt, std::nullopt},
        {"<array/>", std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        writeFile(prefsPath_, "<plist><dict><key>k</key>" + c.value + "</dict></plist>");
        RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
        EXPECT_EQ(prefs.stringForKey("k"), c.text) << c.value;
        EXPECT_EQ(prefs.numberForKey("k"), c.number) << c.value;
        EXPECT_EQ(prefs.stringForKey("other"), std::nullopt);
    }
}

TEST_F(RemoteAppSuitePrefsTest, AReaderFollowsTheSecondOfTheFilesTime) {
    RemoteAppSuitePrefs writer("com.korvane.remote", lists_);
    writer.setString("old", "k");
    RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
    const auto stamped = std::filesystem::last_write_time(prefsPath_);
    writer.setString("new", "k");
    std::filesystem::last_write_time(prefsPath_, stamped);
    EXPECT_EQ(reader.stringForKey("k"), "old");
    moveTime(prefsPath_, std::chrono::seconds(1));
    EXPECT_EQ(reader.stringForKey("k"), "new");
}

TEST_F(RemoteAppSuitePrefsTest, AWriterKeepsWhatOthersWroteWheneverTheyDid) {
    for (const auto shift : {std::chrono::seconds(0), std::chrono::seconds(-3600), std::chrono::seconds(5)}) {
        RemoteAppSuitePrefs one("com.korvane.remote", lists_);
        RemoteAppSuitePrefs other("com.korvane.remote", lists_);
        one.setNumber(1, "one");
        other.setNumber(2, "other");
        moveTime(prefsPath_, shift);
        one.setNumber(3, "one");
        one.removeValueForKey("missing");
        RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
        EXPECT_EQ(reader.stringForKey("one"), "3");
        EXPECT_EQ(reader.stringForKey("other"), "2");
        one.removeValueForKey("other");
        EXPECT_EQ(one.stringForKey("other"), std::nullopt);
        one.removeAllValues();
        EXPECT_FALSE(std::filesystem::exists(prefsPath_));
        EXPECT_EQ(one.stringForKey("one"), "3");
    }
}

TEST_F(RemoteAppSuitePrefsTest, ValuesOfOtherProgramsStayAsTheyAre) {
    ASSERT_EQ(partner("make " + quotedPath()), 0);
    RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
    prefs.setNumber(0.5, "own");
    prefs.setString("a & b", "own text");
    EXPECT_EQ(partner("check " + quotedPath()), 0);
}

// Each change checks that the one before is still in the file, so that no loss can hide.
TEST_F(RemoteAppSuitePrefsTest, ProgramsThatWriteAtOnceLoseNothing) {
    constexpr int kWrites = 1000;
    std::vector<pid_t> children;
    for (const std::string name : {"a", "b"}) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
            for (int i = 1; i <= kWrites; ++i) {
                prefs.setNumber(i, name + std::to_string(i % 10));
                const auto before = prefs.stringForKey(name + std::to_string((i - 1) % 10));
                if (i > 1 && before != std::to_string(i - 1)) {
                    ::_exit(1);
                }
            }
            ::_exit(0);
        }
        children.push_back(child);
    }
    EXPECT_EQ(partner("write " + quotedPath() + " " + std::to_string(kWrites)), 0);
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
    for (const std::string name : {"a", "b", "python"}) {
        for (int i = kWrites - 9; i <= kWrites; ++i) {
            EXPECT_EQ(prefs.stringForKey(name + std::to_string(i % 10)), std::to_string(i)) << name;
        }
    }
}

} // namespace
} // namespace kvn::test
