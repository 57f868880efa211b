#include "core/logging/CNSLog.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/text/FGStr.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

using namespace Kvs;
using kvn::test::CapturedLog;
using kvn::test::readFile;
using kvn::test::TemporaryFolder;
using kvn::test::writeFile;
using testing::HasSubstr;
using testing::MatchesRegex;

class CNSLogTest : public testing::Test {
protected:
    ~CNSLogTest() override {
        FTransferLog::useLogBook({});
        CNSInitLog(kLogModeDebugOff, kSysLogConsole, "", nullptr);
    }

    void init(unsigned int mode, int sysLogMode = kSysLogConsole) {
        CNSInitLog(mode, sysLogMode, "KvnGUIAgent", folder.file("logs").c_str());
    }

    std::vector<std::string> logFiles() const {
        std::vector<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file("logs"))) {
            files.push_back(entry.path().string());
        }
        return files;
    }

    /// What goes to standard error meanwhile.
    template <class Action>
    static std::string console(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    const std::string consoleLine = "[0-9-]+T[0-9:]+[.][0-9]{3} KvnGUIAgent\\[[0-9]+\\] ";
    TemporaryFolder folder;
};

TEST_F(CNSLogTest, OpensANewFileAndLogsThere) {
    EXPECT_EQ(console([&] {
                  init(kLogModeDebugOff | kLogModeNewLogBook);
                  CNSLog("plain %d", 1);
                  CNSDbgLog("debug %d", 1);
                  OCNSLog("object %@", "x");
                  OCNSDbgLog("debug object %@", "x");
              }),
              "");
    ASSERT_EQ(logFiles().size(), 1U);
    EXPECT_THAT(logFiles()[0],
                MatchesRegex(".*/logs/KvnGUIAgent_[0-9-]{10}T[0-9]{2}-[0-9]{2}-[0-9]{2}[.][0-9]{3}[.]txt"));
    EXPECT_THAT(readFile(logFiles()[0]), MatchesRegex("----.*----\n.*:\tplain 1\n.*:\tobject x\n"));
    struct stat status {};
    ASSERT_EQ(stat(folder.file("logs").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0777U);
}

TEST_F(CNSLogTest, DebugLoggingAlsoGoesToTheSystemLog) {
    init(kLogModeDebugOn | kLogModeDebugOff);
    const CapturedLog log;
    const std::string output = console([] {
        CNSDbgLog("debug %d", 1);
        OCNSDbgLog("debug object %@", "x");
    });
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"debug 1", "debug object x"}));
    EXPECT_THAT(output, HasSubstr(std::string(FLoggable::getLogThreadId()) + ": debug 1\t\n"));
    init(0);
    EXPECT_TRUE(CNSDbgLogEnabled()) << "neither bit leaves it as it is";
    init(kLogModeDebugOff);
    EXPECT_FALSE(CNSDbgLogEnabled());
}

TEST_F(CNSLogTest, CutsOnlyPrintfLines) {
    const CapturedLog log;
    const std::string large(5000, 'x');
    CNSLog("%s", large.c_str());
    OCNSLog("%@", large);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{large.substr(0, 4095), large}));
}

TEST_F(CNSLogTest, LinesWithoutABookAppearOnTheConsole) {
    init(0);
    EXPECT_THAT(console([] { CNSLog("no book %d", 1); }), MatchesRegex(consoleLine + "no book 1\n"));
    const CapturedLog log;
    EXPECT_EQ(console([] { CNSSysLogMsg(nullptr); }), "");
    CNSLog("kept");
    EXPECT_TRUE(log.contains("kept"));
}

TEST_F(CNSLogTest, AClientOrSuppressionStays) {
    for (const FSysLogMode first : {kSysLogClient, kSysLogSuppressed}) {
        for (const int then : {0, -1, 7}) {
            // In a process of its own, since there is no way back.
            const auto silent = [&] {
                init(0, first);
                init(0, then);
                CNSLog("line");
                std::_Exit(0);
            };
            EXPECT_EXIT(silent(), testing::ExitedWithCode(0), "^$") << first << ", " << then;
        }
    }
}

TEST_F(CNSLogTest, LinesThatDoNotFitAppearOnTheConsole) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no full device here";
    }
    init(0);
    std::filesystem::create_symlink("/dev/full", folder.file("full"));
    FTransferLog::useLogBook(FRef<FLogBook>(new FLogBookFile(fWiden(folder.file("full")))));
    EXPECT_THAT(console([] {
                    CNSLog("lost %d", 1);
                    OCNSLog("lost %@", 2);
                }),
                MatchesRegex(consoleLine + "lost 1\n" + consoleLine + "lost 2\n"));
    init(kLogModeDebugOn);
    EXPECT_THAT(console([] { CNSLog("lost %d", 3); }),
                MatchesRegex(consoleLine + "[^ ]+ Thread\\[[0-9a-f]+\\]: lost 3\t\n"))
        << "once, since debug logging has put it there";
}

TEST_F(CNSLogTest, AnInactiveBookIsPassedBy) {
    struct Inactive : FLogBookDummy {
        bool isInactive() const override { return true; }
    };
    init(0);
    FTransferLog::useLogBook(FRef<FLogBook>(new Inactive));
    EXPECT_THAT(console([] { CNSLog("line"); }), HasSubstr("line\n"));
    FTransferLog::useLogBook(FRef<FLogBook>(new FLogBookDummy));
    EXPECT_EQ(console([] { CNSLog("line"); }), "");
}

TEST_F(CNSLogTest, GoesOnWhenTheDirectoryCannotBeMade) {
    init(0);
    writeFile(folder.file("file"), "");
    const std::string bad = folder.file("file/logs");
    EXPECT_THAT(console([&] { CNSInitLog(0, 0, "KvnGUIAgent", bad.c_str()); }),
                MatchesRegex(consoleLine + "Failed to set user log dir: " + bad + "\n"));
    const FGStr<wchar_t> directory = FSysInfoPaths::getUserLogDirW();
    CNSInitLog(0, 0, "KvnGUIAgent", "x"); // too short to be one
    EXPECT_EQ(FSysInfoPaths::getUserLogDirW(), directory);
}

TEST_F(CNSLogTest, GoesOnWhenTheFileCannotBeMade) {
    init(0);
    std::filesystem::remove_all(folder.file("logs"));
    writeFile(folder.file("logs"), ""); // tests run as root, whom permissions do not stop
    const CapturedLog log;
    EXPECT_THAT(console([] { EXPECT_FALSE(CNSUseNewLogBook()); }),
                MatchesRegex(consoleLine + "Failed to create LogBookFile[.]\n"));
    CNSLog("still there");
    EXPECT_TRUE(log.contains("still there")) << "the former book stays";
}

/// Logs when its thread ends, after what the thread has made later is gone.
struct LastWords {
    ~LastWords() { CNSLog("last words"); }
};

TEST_F(CNSLogTest, AThreadMayLogUntilItsVeryEnd) {
    const CapturedLog log;
    std::thread([] {
        thread_local const LastWords lastWords;
        static_cast<void>(&lastWords);
        const auto captured = FTransferLog::useLogBook(FRef<FLogBook>(new FLogBookDummy));
        CNSLog("swallowed by a book that only this thread holds on to");
        FTransferLog::useLogBook(captured);
    }).join();
    EXPECT_EQ(log.lines(), std::vector<std::string>{"last words"});
}

TEST_F(CNSLogTest, ThreadsLogWhileTheBookIsReplaced) {
    init(kLogModeDebugOff | kLogModeNewLogBook);
    std::atomic<bool> stop = false;
    std::atomic<int> written = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                CNSLog("line %d", ++written);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(CNSUseNewLogBook());
        EXPECT_TRUE(kvn::test::waitUntil([&, begin = written.load()] { return written > begin + 10; }));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::size_t found = 0;
    for (const std::string& file : logFiles()) {
        const std::string content = readFile(file);
        found += Kvs::FGStr<char>(content).count("\tline ");
    }
    EXPECT_EQ(found, static_cast<std::size_t>(written));
}

} // namespace
