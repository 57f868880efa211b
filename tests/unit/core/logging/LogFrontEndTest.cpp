// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/system/FSysInfoPaths.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;
using testing::MatchesRegex;

/// Returns the paths of everything in a folder, relative to it.
std::vector<std::string> entriesBelow(const std::string& path) {
    std::vector<std::string> entries;
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        entries.push_back(entry.path().lexically_relative(path).string());
    }
    return entries;
}

class CNSLogTest : public testing::Test {
protected:
    ~CNSLogTest() override {
        FTransferLog::useLogBook({});
        CNSInitLog(kLogModeDebugOff, kSysLogConsole, "", nullptr);
    }

    void init(unsigned int mode, int sysLogMode = kSysLogConsole) {
        CNSInitLog(mode, sysLogMode, "KvnGUIAgent", folder.file("logs").c_str());
    }

    /// Returns what the action writes to standard error.
    static std::string console(const std::function<void()>& action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const std::string consoleLine = "[0-9-]+T[0-9:]+[.][0-9]{3} KvnGUIAgent\\[[0-9]+\\] ";
    const TemporaryFolder folder;
};

TEST_F(CNSLogTest, LogsToANewFileAndWithDebuggingAlsoToTheSystem) {
    const auto logIn = [&](unsigned int mode) {
        return console([&] {
            init(mode);
            CNSLog("plain %d", 1);
            CNSDbgLog("debug %d", 2);
            OCNSLog("object %@", "x");
            OCNSDbgLog("debug object %@", "y");
        });
    };
    EXPECT_EQ(logIn(kLogModeDebugOff | kLogModeNewLogBook), "");
    EXPECT_THAT(logIn(kLogModeDebugOn | kLogModeDebugOff),
                HasSubstr(std::string(FLoggable::getLogThreadId()) + ": debug 2\t\n"));
    init(0);
    EXPECT_TRUE(CNSDbgLogEnabled()) << "neither bit leaves it as it is";
    const auto files = entriesBelow(folder.path());
    ASSERT_THAT(files, ElementsAre("logs", MatchesRegex("logs/KvnGUIAgent_[0-9-]{10}T[0-9]{2}-[0-9]{2}-"
                                                        "[0-9]{2}[.][0-9]{3}[.]txt")));
    std::string expected = "----[^\n]*----\n";
    for (const char* text : {"plain 1", "object x", "plain 1", "debug 2", "object x", "debug object y"}) {
        expected += "[^\n]*:\t"s + text + "\n";
    }
    EXPECT_THAT(readFile(folder.file(files[1])), MatchesRegex(expected));
}

TEST_F(CNSLogTest, LinesThatNoBookTakesAppearOnTheConsole) {
    struct Inactive : FLogBookDummy {
        bool isInactive() const override { return true; }
    };
    struct Failing : FLogBookDummy {
        bool addText(std::string_view) override { return false; }
    };
    init(0);
    const auto logged = [] {
        return console([] {
            CNSLog("lost %d", 1);
            OCNSLog("lost %@", 2);
            CNSSysLogMsg(nullptr);
        });
    };
    const auto onConsole = MatchesRegex(consoleLine + "lost 1\n" + consoleLine + "lost 2\n");
    EXPECT_THAT(logged(), onConsole);
    for (FLogBook* book : std::initializer_list<FLogBook*>{new Inactive, new Failing}) {
        FTransferLog::useLogBook(FRef<FLogBook>(book));
        EXPECT_THAT(logged(), onConsole);
    }
    EXPECT_THAT(console([] { CNSLog("a%s\nb", "\n"); }), MatchesRegex(consoleLine + "a\\\\n\nb\n"));
    init(kLogModeDebugOn);
    EXPECT_THAT(console([] { CNSLog("lost %d", 3); }),
                MatchesRegex(consoleLine + "[^ ]+ Thread\\[[0-9a-f]+\\]: lost 3\t\n"))
        << "once, since debug logging has put it there";
}

TEST_F(CNSLogTest, AConsoleThatIsNotReadHoldsNothingUp) {
    const auto flood = [] { // in a process of its own: its lines are left out for a while
        int ends[2];
        ASSERT_EQ(::pipe(ends), 0);
        ::dup2(ends[1], STDERR_FILENO);
        for (int i = 0; i < 10'000; ++i) {
            CNSLog("%01000d", i);
        }
        std::_Exit(0);
    };
    EXPECT_EXIT(flood(), testing::ExitedWithCode(0), "");
}

TEST_F(CNSLogTest, AThreadMayLogUntilItsVeryEnd) {
    struct LastWords { // destroyed after what its thread makes later
        ~LastWords() { CNSLog("last words"); }
    };
    const CapturedLog log;
    std::thread([] {
        thread_local const LastWords lastWords;
        static_cast<void>(&lastWords);
        const auto captured = FTransferLog::useLogBook(FRef<FLogBook>(new FLogBookDummy));
        CNSLog("discarded by a book that only this thread holds");
        FTransferLog::useLogBook(captured);
    }).join();
    EXPECT_THAT(log.lines(), ElementsAre("last words"));
}

TEST_F(CNSLogTest, ThreadsLogWhileTheBookIsReplaced) {
    fs::create_directory(folder.file("logs"));
    const auto useBook = [&](int number) {
        auto now = std::chrono::steady_clock::now(); // runs ahead, so that no line is left out
        const LogLimit limit([now]() mutable { return now += LogLimit::kPeriod; });
        const auto path = fWiden(folder.file("logs/" + std::to_string(number)));
        FTransferLog::useLogBook(FRef<FLogBook>(new FLogBookFile(path, limit)));
    };
    useBook(0);
    const std::string line(10'000, 'x');
    std::atomic<bool> stop = false;
    std::atomic<std::size_t> written = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                ++written;
                OCNSLog("%@", line);
            }
        });
    }
    for (int i = 1; i <= 20; ++i) {
        useBook(i);
        EXPECT_TRUE(waitUntil([&, begin = written.load()] { return written > begin + 10; }));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::size_t found = 0;
    for (const std::string& file : entriesBelow(folder.file("logs"))) {
        found += FGStr<char>(readFile(folder.file("logs/" + file))).count("\t" + line + "\n");
    }
    EXPECT_EQ(found, written);
}

TEST(CNSCleanupLogDir, DeletesOldLogFilesOnly) {
    const TemporaryFolder folder;
    fs::create_directories(folder.file("logs/folder.log"));
    fs::create_directories(folder.file("other/log"));
    fs::create_symlink(folder.file("other/kept.txt"), folder.file("logs/link.txt"));
    fs::create_symlink(folder.file("other"), folder.file("logs/link.log"));
    const auto leave = [&](long minutes, std::initializer_list<const char*> names) {
        const timespec changed{time(nullptr) - minutes * 60, 0};
        const timespec times[] = {changed, changed};
        for (const char* name : names) {
            writeFile(folder.file(name), "x"); // does nothing to a folder
            ASSERT_EQ(utimensat(AT_FDCWD, folder.file(name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << name;
        }
    };
    leave(721, {"logs/OLD.LOG", "logs/b.Zip", "logs/.txt", "logs/link.txt", "logs/link.log",
                "beside_logs.txt", "other/log/a.txt", "logs/old.log.1", "logs/log", "logs/folder.log/a.txt",
                "logs/folder.log", "other/kept.txt"});
    leave(719, {"logs/young.txt"});
    leave(-10, {"logs/future.txt"});

    const CapturedLog log;
    CNSCleanupLogDir(folder.file("logs").c_str(), 720);
    CNSCleanupLogDir(folder.file("other/log").c_str(), 720);
    CNSCleanupLogDir("/missing/logs", 720);
    CNSCleanupLogDir(nullptr, 720);
    EXPECT_THAT(log.lines(), ElementsAre());
    EXPECT_THAT(entriesBelow(folder.path()),
                testing::UnorderedElementsAre("logs", "logs/old.log.1", "logs/log", "logs/folder.log",
                                              "logs/folder.log/a.txt", "logs/young.txt", "logs/future.txt",
                                              "other", "other/log", "other/kept.txt"));
}

} // namespace
