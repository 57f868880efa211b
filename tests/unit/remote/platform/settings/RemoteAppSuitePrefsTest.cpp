// SPDX-License-Identifier: MIT

#include "core/system/FileDescriptor.h"
#include "tests/support/Test.h"
#include "tests/unit/remote/platform/settings/SettingsFixture.h"

#include <sys/file.h>

namespace kvn::test {
namespace {

using Number = RemoteAppSuitePrefs::Number;
using RemoteAppSuitePrefsTest = SettingsFixture;

TEST_F(RemoteAppSuitePrefsTest, TheFirstWriteMakesAFileThatEveryUserMayWrite) {
    const CapturedLog log;
    EXPECT_EQ(prefs_.numberForKey("a"), std::nullopt);
    EXPECT_EQ(modeMadeBy([&] { prefs_.setNumber(5, "a"); }, prefsPath_), mode_t{0666});
    EXPECT_EQ(prefs_.numberForKey("a"), Number(std::int64_t{5}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RemoteAppSuitePrefsTest, ConvertsBetweenTextsAndNumbers) {
    const std::tuple<std::string, std::optional<std::string>, std::optional<Number>> cases[] = {
        {"<string> -2.5e1 apples</string>", " -2.5e1 apples", -25.0},
        {"<string>2024-03-07T09:05:02</string>", "2024-03-07T09:05:02", 2024.0},
        {"<string>inf</string>", "inf", 0.0},
        {"<integer>18446744073709551615</integer>", "18446744073709551615", std::uint64_t{0} - 1},
        {"<real>0.1</real>", "0.1", 0.1},
        {"<true/>", "1", true},
        {"<date>2024-03-07T09:05:02Z</date>", std::nullopt, std::nullopt},
    };
    for (const auto& [value, text, number] : cases) {
        writeFile(prefsPath_, "<plist><dict><key>k</key>" + value + "</dict></plist>");
        RemoteAppSuitePrefs prefs("com.korvane.remote", lists_);
        EXPECT_EQ(prefs.stringForKey("k"), text) << value;
        EXPECT_EQ(prefs.numberForKey("k"), number) << value;
    }
}

TEST_F(RemoteAppSuitePrefsTest, AReaderReadsAgainWhenTheSecondOfTheFilesTimeChanges) {
    prefs_.setString("old", "k");
    RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
    const auto stamped = fs::last_write_time(prefsPath_);
    prefs_.setString("new", "k");
    fs::last_write_time(prefsPath_, stamped);
    EXPECT_EQ(reader.stringForKey("k"), "old");
    moveTime(prefsPath_, 1s);
    EXPECT_EQ(reader.stringForKey("k"), "new");
}

TEST_F(RemoteAppSuitePrefsTest, AWriterKeepsTheKeysOfOthersWhateverTheFilesTime) {
    for (const auto shift : {0s, -3600s, 5s}) {
        RemoteAppSuitePrefs other("com.korvane.remote", lists_);
        prefs_.setNumber(1, "one");
        other.setNumber(2, "other");
        moveTime(prefsPath_, shift);
        prefs_.setNumber(3, "one");
        prefs_.removeValueForKey("missing");
        EXPECT_EQ(stored("one"), "3");
        EXPECT_EQ(stored("other"), "2");
        prefs_.removeValueForKey("other");
        EXPECT_EQ(stored("other"), std::nullopt);
        EXPECT_EQ(stored("one"), "3"); // the shorter file is a list
        prefs_.removeAllValues();
        EXPECT_FALSE(fs::exists(prefsPath_));
        EXPECT_EQ(prefs_.stringForKey("one"), "3"); // cached
    }
}

TEST_F(RemoteAppSuitePrefsTest, ValuesOfOtherProgramsAreNotChanged) {
    const auto partner = [&](const std::string& action) {
        return std::system((KVN_PARTNER " " + action + " '" + prefsPath_ + "'").c_str());
    };
    ASSERT_EQ(partner("make"), 0);
    prefs_.setNumber(0.5, "own");
    prefs_.setString("a & b", "own text");
    EXPECT_EQ(partner("check"), 0);
}

// A write reads the file, so that every writer sees after it whether its write before is still there.
TEST_F(RemoteAppSuitePrefsTest, ProgramsAndThreadsThatWriteAtOnceLoseNothing) {
    constexpr int kWrites = 500;
    const auto write = [this](const std::string& name) {
        for (int i = 1; i <= kWrites; ++i) {
            prefs_.setNumber(i, name + std::to_string(i % 10));
            if (i > 1 && prefs_.stringForKey(name + std::to_string((i - 1) % 10)) != std::to_string(i - 1)) {
                return false;
            }
        }
        return true;
    };
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(write("child") ? 0 : 1);
    }
    std::thread thread([&] { EXPECT_TRUE(write("thread")); });
    EXPECT_TRUE(write("main"));
    thread.join();
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    for (const std::string name : {"main", "thread", "child"}) {
        EXPECT_EQ(stored(name + "0"), std::to_string(kWrites)) << name;
        EXPECT_EQ(stored(name + "1"), std::to_string(kWrites - 9)) << name;
    }
}

TEST_F(RemoteAppSuitePrefsTest, ADamagedListIsLoggedAndCopiedBeforeItIsOverwritten) {
    prefs_.setString("kept", "known");
    const auto failure = Contains(HasSubstr("Failed to deserialize prefs file, error: "));
    for (const std::string& content : {std::string("hello"), std::string("<plist><array/></plist>"),
                                       std::string("<plist><dict><key>a</key>")}) {
        writeFile(prefsPath_, content);
        moveTime(prefsPath_, 10s);
        EXPECT_THAT(logOf([&] { EXPECT_EQ(prefs_.stringForKey("known"), "kept"); }), failure);
        EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }), failure);
        EXPECT_EQ(readFile(prefsPath_ + ".damaged"), content);
        EXPECT_EQ(stored("known"), "kept");
        EXPECT_EQ(stored("new"), "1");
        fs::remove(prefsPath_ + ".damaged");
    }
    writeFile(prefsPath_, ""); // no damage: a new file
    EXPECT_THAT(logOf([&] { prefs_.setNumber(2, "new"); }), IsEmpty());
    EXPECT_EQ(stored("known"), "kept");
}

TEST_F(RemoteAppSuitePrefsTest, AFailureIsLoggedAndLeavesTheCachedValues) {
    prefs_.setString("kept", "known");
    const std::pair<const char*, std::function<void()>> places[] = {
        {"File too large",
         [&] { writeFile(prefsPath_, std::string(host::PropertyList::kMaxBytes + 1, ' ')); }},
        {"Failed to ", [&] { ASSERT_EQ(::mkfifo(prefsPath_.c_str(), 0666), 0); }},
        {"errno: 21", [&] { fs::create_directory(prefsPath_); }},
        {"errno: 2", [&] { fs::remove_all(support_ + "/registry"); }},
    };
    for (const auto& [failure, place] : places) {
        fs::remove_all(prefsPath_);
        place();
        std::error_code missing;
        fs::last_write_time(prefsPath_, fs::file_time_type::clock::now() + 1h, missing);
        EXPECT_EQ(prefs_.stringForKey("known"), "kept");
        EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }), Contains(HasSubstr(failure)));
        EXPECT_EQ(prefs_.stringForKey("new"), std::nullopt);
    }
}

TEST_F(RemoteAppSuitePrefsTest, AWriteThatFailsLeavesTheOldList) {
    prefs_.setString("kept", "known");
    const std::string before = readFile(prefsPath_);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit tight{before.size() + 10, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    prefs_.setString(std::string(5000, 'x'), "large");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(readFile(prefsPath_), before);

    EXPECT_THAT(logOf([&] { prefs_.setString("\xFF", "not UTF-8"); }),
                Contains(HasSubstr("writePreferences: Failed to serialize app suite prefs, error: ")));
    EXPECT_EQ(prefs_.stringForKey("not UTF-8"), std::nullopt);
    prefs_.setString("small", "later");
    EXPECT_EQ(stored("known"), "kept");
    EXPECT_EQ(stored("later"), "small");
}

TEST_F(RemoteAppSuitePrefsTest, AWriterThatWaitedForTheLockWritesTheFileThatReplacedTheLockedOne) {
    prefs_.setString("kept", "known");
    const Kvs::FileDescriptor holder(::open(prefsPath_.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX), 0);
    const int next = ::dup(holder.get()); // the number that the writer's open will take
    ::close(next);
    std::thread writer([&] { prefs_.setNumber(1, "new"); });
    EXPECT_TRUE(waitUntil([&] { return ::fcntl(next, F_GETFD) != -1; }));
    writeFile(prefsPath_ + "~", "<plist><dict><key>theirs</key><true/></dict></plist>");
    fs::rename(prefsPath_ + "~", prefsPath_);
    ::flock(holder.get(), LOCK_UN);
    writer.join();
    EXPECT_EQ(stored("new"), "1");
    EXPECT_EQ(stored("theirs"), "1");
}

} // namespace
} // namespace kvn::test
