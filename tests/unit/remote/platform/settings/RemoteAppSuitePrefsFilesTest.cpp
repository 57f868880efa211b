#include "core/system/FileDescriptor.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/remote/platform/settings/SettingsFixture.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace kvn::test {
namespace {

using testing::HasSubstr;

/// What stands at the file's path is not what it should be.
class RemoteAppSuitePrefsFilesTest : public SettingsFixture {
protected:
    RemoteAppSuitePrefsFilesTest() { prefs_.setString("kept", "known"); }

    RemoteAppSuitePrefs prefs_{"com.korvane.remote", lists_};
};

TEST_F(RemoteAppSuitePrefsFilesTest, ADamagedListIsToldAndCopiedBeforeItIsWritten) {
    for (const std::string& content : {std::string("hello"), std::string("<plist><array/></plist>"),
                                       std::string("<plist><dict><key>a</key>"), std::string(100'000, '<')}) {
        writeFile(prefsPath_, content);
        moveTime(prefsPath_, std::chrono::seconds(10));
        EXPECT_THAT(logOf([&] { EXPECT_EQ(prefs_.stringForKey("known"), "kept"); }),
                    HasSubstr("Failed to deserialize prefs file, error: "));
        EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }),
                    HasSubstr("Failed to deserialize prefs file, error: "));
        EXPECT_EQ(readFile(prefsPath_ + ".damaged"), content);
        EXPECT_EQ(logOf([&] {
                      RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
                      EXPECT_EQ(reader.stringForKey("known"), "kept");
                      EXPECT_EQ(reader.stringForKey("new"), "1");
                  }),
                  "");
        std::filesystem::remove(prefsPath_ + ".damaged");
    }
}

TEST_F(RemoteAppSuitePrefsFilesTest, AnEmptyFileIsAFreshStart) {
    writeFile(prefsPath_, "");
    EXPECT_EQ(logOf([&] { prefs_.setNumber(1, "new"); }), "");
    RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
    EXPECT_EQ(reader.stringForKey("known"), "kept");
}

TEST_F(RemoteAppSuitePrefsFilesTest, AFileThatIsTooLargeIsLeftAlone) {
    const std::string content(host::PropertyList::kMaxBytes + 1, ' ');
    writeFile(prefsPath_, content);
    moveTime(prefsPath_, std::chrono::seconds(10));
    EXPECT_THAT(logOf([&] { EXPECT_EQ(prefs_.stringForKey("known"), "kept"); }), HasSubstr("File too large"));
    EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }), HasSubstr("File too large"));
    EXPECT_TRUE(readFile(prefsPath_) == content);
}

TEST_F(RemoteAppSuitePrefsFilesTest, WhatIsNoFileMakesNobodyWait) {
    std::filesystem::remove(prefsPath_);
    ASSERT_EQ(::mkfifo(prefsPath_.c_str(), 0666), 0);
    moveTime(prefsPath_, std::chrono::seconds(10));
    EXPECT_THAT(logOf([&] { EXPECT_EQ(prefs_.stringForKey("known"), "kept"); }), HasSubstr("Failed to "));
    EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }), HasSubstr("Failed to "));

    std::filesystem::remove(prefsPath_);
    std::filesystem::create_directory(prefsPath_);
    EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }),
                HasSubstr("Failed to open app suite prefs file for writing: " + prefsPath_ +
                          ", errno: " + std::to_string(EISDIR)));

    std::filesystem::remove_all(support_ + "/registry");
    EXPECT_THAT(logOf([&] { prefs_.setNumber(1, "new"); }), HasSubstr("errno: " + std::to_string(ENOENT)));
    EXPECT_EQ(prefs_.stringForKey("known"), "kept");
}

TEST_F(RemoteAppSuitePrefsFilesTest, AWriteThatDoesNotFitLeavesTheOldList) {
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

    prefs_.setString("small", "later");
    RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
    EXPECT_EQ(reader.stringForKey("known"), "kept");
    EXPECT_EQ(reader.stringForKey("later"), "small");
}

TEST_F(RemoteAppSuitePrefsFilesTest, AValueThatAListCannotHoldHarmsNoOther) {
    EXPECT_THAT(logOf([&] { prefs_.setString("\xFF", "broken"); }),
                HasSubstr("writePreferences: Failed to serialize app suite prefs, error: "));
    EXPECT_EQ(prefs_.stringForKey("broken"), std::nullopt);
    EXPECT_EQ(prefs_.stringForKey("known"), "kept");
    EXPECT_EQ(logOf([&] { prefs_.setNumber(1, "new"); }), "");
}

TEST_F(RemoteAppSuitePrefsFilesTest, AFileReplacedWhileAWriterWaitsIsTheOneWritten) {
    const Kvs::FileDescriptor holder(::open(prefsPath_.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(holder.get(), LOCK_EX), 0);
    const int next = ::dup(holder.get()); // the number that the writer's open will take
    ::close(next);
    std::thread writer([&] { prefs_.setNumber(1, "new"); });
    EXPECT_TRUE(waitUntil([&] { return ::fcntl(next, F_GETFD) != -1; }));
    writeFile(prefsPath_ + "~", "<plist><dict><key>theirs</key><true/></dict></plist>");
    std::filesystem::rename(prefsPath_ + "~", prefsPath_);
    ::flock(holder.get(), LOCK_UN);
    writer.join();
    RemoteAppSuitePrefs reader("com.korvane.remote", lists_);
    EXPECT_EQ(reader.stringForKey("new"), "1");
    EXPECT_EQ(reader.stringForKey("theirs"), "1");
}

TEST_F(RemoteAppSuitePrefsFilesTest, ThreadsShareOneInstance) {
    std::vector<std::thread> threads;
    for (const std::string name : {"a", "b", "c"}) {
        threads.emplace_back([this, name] {
            for (int i = 0; i < 50; ++i) {
                prefs_.setNumber(i, name + std::to_string(i));
                EXPECT_EQ(prefs_.stringForKey(name + std::to_string(i)), std::to_string(i));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::string name : {"a", "b", "c"}) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_TRUE(prefs_.numberForKey(name + std::to_string(i)));
        }
    }
}

} // namespace
} // namespace kvn::test
