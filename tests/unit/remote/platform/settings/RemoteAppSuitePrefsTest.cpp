// SPDX-License-Identifier: MIT

#include "core/system/FileDescriptor.h"
#include "tests/support/Test.h"
#include "tests/unit/remote/platform/settings/SettingsFixture.h"

#include <sys/file.h>

namespace kvn::test {
namespace {

using Number = RemoteAppSuitePrefs::Number;

class RemoteAppSuitePrefsTest : public SettingsFixture {
protected:
    /// Returns the exit status of another program that shares the preferences.
    int partner(const std::string& action, const std::string& count = "") const {
        return std::system((KVN_PARTNER " " + action + " '" + prefsPath_ + "' " + count).c_str());
    }
};

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
        RemoteAppSuitePrefs prefs(kSuite, lists_);
        EXPECT_EQ(prefs.stringForKey("k"), text) << value;
        EXPECT_EQ(prefs.numberForKey("k"), number) << value;
    }
}

TEST_F(RemoteAppSuitePrefsTest, AReaderReadsAgainWhenTheSecondOfTheFilesTimeChanges) {
    prefs_.setString("old", "k");
    RemoteAppSuitePrefs reader(kSuite, lists_);
    const auto stamped = fs::last_write_time(prefsPath_);
    prefs_.setString("new", "k");
    fs::last_write_time(prefsPath_, stamped);
    EXPECT_EQ(reader.stringForKey("k"), "old");
    moveTime(prefsPath_, 1s);
    EXPECT_EQ(reader.stringForKey("k"), "new");
}

TEST_F(RemoteAppSuitePrefsTest, AWriterKeepsTheKeysOfOthersWhateverTheFilesTime) {
    for (const auto shift : {0s, -3600s, 5s}) {
        RemoteAppSuitePrefs other(kSuite, lists_);
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
    for (const char* form : {"xml", "binary"}) {
        ASSERT_EQ(partner(form), 0);
        prefs_.setNumber(0.5, "own");
        prefs_.setString("a & b", "own text");
        EXPECT_EQ(partner("check"), 0) << form;
    }
}

TEST_F(RemoteAppSuitePrefsTest, ProgramsAndThreadsThatWriteAtOnceLoseNothing) {
    constexpr int kWrites = 100;
    const auto write = [this](RemoteAppSuitePrefs& prefs, const std::string& name) {
        bool whole = true;
        for (int i = 0; i < kWrites; ++i) {
            whole = prefs.setNumber(i, name + std::to_string(i)) && whole;
            whole = prefs.stringForKey(name + std::to_string(i)) == std::to_string(i) && whole;
        }
        return waitUntil([&] { return stored(name + std::to_string(kWrites - 1)).has_value(); }) && whole;
    };
    prefs_.setNumber(1, "first");
    std::vector<pid_t> programs;
    for (const std::string name : {"a", "b", "c", "partner"}) {
        const pid_t program = ::fork();
        if (program == 0) {
            const auto play = [&] {
                return name == "partner"
                           ? partner("write", std::to_string(kWrites)) == 0
                           : write(*std::make_unique<RemoteAppSuitePrefs>(kSuite, lists_), name);
            };
            ::_exit(play() ? 0 : 1);
        }
        programs.push_back(program);
    }
    {
        RemoteAppSuitePrefs shared(kSuite, lists_);
        std::thread thread([&] { EXPECT_TRUE(write(shared, "thread")); });
        EXPECT_TRUE(write(shared, "main"));
        thread.join();
    }
    for (const pid_t program : programs) {
        int status = -1;
        EXPECT_EQ(::waitpid(program, &status, 0), program);
        EXPECT_EQ(status, 0);
    }
    RemoteAppSuitePrefs after(kSuite, lists_);
    for (const std::string name : {"a", "b", "c", "partner", "thread", "main"}) {
        for (int i = 0; i < kWrites; ++i) {
            EXPECT_EQ(after.stringForKey(name + std::to_string(i)), std::to_string(i)) << name;
        }
    }
}

TEST_F(RemoteAppSuitePrefsTest, AProgramThatIsKilledWhileItWritesLeavesAList) {
    prefs_.setString("kept", "known");
    const std::string before = readFile(prefsPath_);
    const pid_t program = ::fork();
    if (program == 0) {
        const rlimit noDump{0, 0};
        const rlimit tight{before.size() + 10, before.size() + 10};
        std::signal(SIGXFSZ, SIG_DFL); // kills a process that writes on at the limit
        if (::setrlimit(RLIMIT_CORE, &noDump) == 0 && ::setrlimit(RLIMIT_FSIZE, &tight) == 0) {
            prefs_.setString(std::string(5000, 'x'), "large");
        }
        ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(program, &status, 0), program);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
    EXPECT_EQ(readFile(prefsPath_).size(), before.size() + 10);
    EXPECT_EQ(stored("known"), "kept");
    prefs_.setNumber(1, "new");
    EXPECT_EQ(stored("known"), "kept");
    EXPECT_FALSE(fs::exists(prefsPath_ + ".damaged"));
}

TEST_F(RemoteAppSuitePrefsTest, ChangesWaitForTheLockOfAnotherProgramAndNobodyElseDoes) {
    prefs_.setString("kept", "known");
    prefs_.setString("old", "gone");
    const Kvs::FileDescriptor holder(::open(prefsPath_.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX), 0);
    const std::string before = readFile(prefsPath_);
    const CapturedLog log;
    for (const char* value : {"first", "second"}) {
        EXPECT_TRUE(prefs_.setString(value, "new"));
    }
    EXPECT_TRUE(prefs_.removeValueForKey("gone"));
    EXPECT_FALSE(prefs_.setString("\xFF", "not UTF-8")); // and the others are not lost
    EXPECT_EQ(prefs_.stringForKey("new"), "second");
    EXPECT_EQ(prefs_.stringForKey("gone"), std::nullopt);
    EXPECT_EQ(stored("gone"), "old") << "a program that starts meanwhile reads without the lock";
    EXPECT_EQ(readFile(prefsPath_), before);
    ::flock(holder.get(), LOCK_UN);
    EXPECT_TRUE(waitUntil([&] { return stored("new") == "second"; }));
    EXPECT_EQ(stored("gone"), std::nullopt);
    EXPECT_EQ(stored("known"), "kept");
    EXPECT_THAT(log.lines(), SizeIs(1)) << "about the text that is not UTF-8";
}

TEST_F(RemoteAppSuitePrefsTest, AProgramThatWaitedForTheLockWritesTheFileThatReplacedTheLockedOne) {
    prefs_.setString("kept", "known");
    const Kvs::FileDescriptor holder(::open(prefsPath_.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX), 0);
    EXPECT_TRUE(prefs_.setNumber(1, "new"));
    writeFile(prefsPath_ + "~", "<plist><dict><key>theirs</key><true/></dict></plist>");
    fs::rename(prefsPath_ + "~", prefsPath_);
    ::flock(holder.get(), LOCK_UN);
    EXPECT_TRUE(waitUntil([&] { return stored("new") == "1"; }));
    EXPECT_EQ(stored("theirs"), "1");
}

TEST_F(RemoteAppSuitePrefsTest, ADamagedListIsLoggedOnceAndCopiedBeforeItIsOverwritten) {
    prefs_.setString("kept", "known");
    const auto failure = ElementsAre(HasSubstr("Failed to deserialize prefs file, error: "));
    for (const std::string& content : {std::string("hello"), std::string("<plist><array/></plist>"),
                                       std::string("<plist><dict><key>a</key>")}) {
        writeFile(prefsPath_, content);
        moveTime(prefsPath_, 10s);
        EXPECT_THAT(logOf([&] {
                        EXPECT_EQ(prefs_.stringForKey("known"), "kept");
                        EXPECT_EQ(prefs_.stringForKey("new"), std::nullopt);
                        EXPECT_TRUE(prefs_.setNumber(1, "new"));
                    }),
                    failure);
        EXPECT_EQ(readFile(prefsPath_ + ".damaged"), content);
        EXPECT_EQ(stored("known"), "kept");
        prefs_.removeValueForKey("new");
        fs::remove(prefsPath_ + ".damaged");
    }
    writeFile(prefsPath_, ""); // no damage: a new file
    EXPECT_THAT(logOf([&] { prefs_.setNumber(2, "new"); }), IsEmpty());
    EXPECT_EQ(stored("known"), "kept");
    writeFile(prefsPath_, "hello");
    RemoteAppSuitePrefs unknowing(kSuite, lists_); // has no values to write in place of the damaged ones
    EXPECT_FALSE(unknowing.setNumber(1, "new"));
    EXPECT_EQ(readFile(prefsPath_), "hello");
}

TEST_F(RemoteAppSuitePrefsTest, AFailureIsLoggedAndLeavesTheCachedValues) {
    prefs_.setString("kept", "known");
    const std::string other = support_ + "/other";
    const auto number = [](int error) { return ", errno: " + std::to_string(error); };
    const std::tuple<std::string, std::string, std::function<void()>> places[] = {
        {"File too large", "left as it is",
         [&] {
             writeFile(prefsPath_, std::string(host::PropertyList::kMaxBytes + 1, ' '));
             moveTime(prefsPath_, 10s);
         }},
        {number(EINVAL), number(EINVAL), [&] { ASSERT_EQ(::mkfifo(prefsPath_.c_str(), 0666), 0); }},
        {number(EINVAL), number(EISDIR), [&] { fs::create_directory(prefsPath_); }},
        {number(ELOOP), number(ELOOP), [&] { fs::create_symlink(other, prefsPath_); }},
        {number(EMLINK), number(EMLINK), [&] { fs::create_hard_link(other, prefsPath_); }},
        {"does not exist: " + support_ + "/registry", number(ENOENT),
         [&] { fs::remove_all(support_ + "/registry"); }},
    };
    for (const auto& [unread, unwritten, place] : places) {
        writeFile(other, "another file");
        fs::remove_all(prefsPath_);
        place();
        EXPECT_THAT(logOf([&] {
                        for (int i = 0; i < 3; ++i) {
                            EXPECT_EQ(prefs_.stringForKey("known"), "kept");
                        }
                    }),
                    ElementsAre(HasSubstr(unread)));
        EXPECT_THAT(logOf([&] { EXPECT_FALSE(prefs_.setNumber(1, "new")); }),
                    ElementsAre(HasSubstr(unwritten)));
        EXPECT_EQ(prefs_.stringForKey("new"), std::nullopt);
        EXPECT_EQ(readFile(other), "another file");
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

} // namespace
} // namespace kvn::test
