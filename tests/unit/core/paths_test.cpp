#include "core/base/FException.h"
#include "core/system/FAppContext.h"
#include "core/system/FOSXSystemConfig.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "core/system/TFSysFile.h"
#include "core/text/Widening.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <thread>

namespace {

using namespace Kvs;
using kvn::test::TemporaryFolder;
using kvn::test::writeFile;
using testing::MatchesRegex;

TEST(FSysInfoPaths, FixedPathsFollowTheRoot) {
    struct Case {
        const char* root;
        const char* path;
    };
    for (const Case& c :
         {Case{"", "/bin/ps"}, Case{"/", "/bin/ps"}, Case{"/r", "/r/bin/ps"}, Case{"/r//", "/r/bin/ps"}}) {
        FSysInfoPaths::setRoot(c.root);
        EXPECT_EQ(FSysInfoPaths::underRoot("/bin/ps"), c.path) << c.root;
    }
    FSysInfoPaths::setRoot("/r");
    const auto& config = FOSXSystemConfig::getInstance();
    const std::string directory = "/r/Library/Application Support/com.korvane.remote/config";
    EXPECT_EQ(fNarrow(config.getServiceConfigDirectory(L"")), directory);
    EXPECT_EQ(fNarrow(config.getServiceConfigDirectory(L"Name")), directory + "/Name");
    FSysInfoPaths::setRoot("");
}

TEST(FSysInfoPaths, HomeEndsWithASlash) {
    const auto homeFor = [](const char* value) {
        setenv("HOME", value, 1);
        return FSysInfoPaths::getHomeFolder().str();
    };
    EXPECT_EQ(homeFor("/h"), "/h/");
    EXPECT_EQ(homeFor("/h/"), "/h/");
    EXPECT_EQ(homeFor(""), "./");
    unsetenv("HOME");
    EXPECT_EQ(fNarrow(FSysInfoPaths::getHomeFolderW()), "./");
    EXPECT_TRUE(FAppContext::getEnv("HOME").isEmpty());
}

// Runs in a process of its own, like every test that CTest starts: no log directory has been set.
TEST(FSysInfoPaths, TheDefaultLogDirectoryIsMadeInTheHome) {
    const TemporaryFolder home;
    if (fNarrow(FSysInfoPaths::getUserLogDirW()).find("KvLogs") == std::string::npos) {
        GTEST_SKIP() << "an earlier test of this process has set a log directory";
    }
    setenv("HOME", home.path().c_str(), 1);
    EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), home.file("KvLogs/"));
    EXPECT_TRUE(std::filesystem::is_directory(home.file("KvLogs")));
    EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), home.file("KvLogs/"));
}

TEST(FSysInfoPaths, SetsTheLogDirectory) {
    const TemporaryFolder folder;
    for (const std::string ending : {"", "/"}) {
        FSysInfoPaths::setUserLogDirW(fWiden(folder.file("x") + ending));
        EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), folder.file("x/"));
    }
    const auto permissions = std::filesystem::status(folder.file("x")).permissions();
    EXPECT_EQ(permissions, std::filesystem::perms(0777));
    EXPECT_THAT(fNarrow(FSysInfoPaths::getNewLogFileNameW(L"Agent_", L".txt")),
                MatchesRegex(folder.file("x/Agent_[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}-[0-9]{2}-[0-9]{2}"
                                         "[.][0-9]{3}[.]txt")));

    writeFile(folder.file("file"), "");
    for (const char* bad : {"file", "file/below", "missing/below"}) {
        EXPECT_THROW(FSysInfoPaths::setUserLogDirW(fWiden(folder.file(bad))), FException) << bad;
    }
    EXPECT_THROW(FSysInfoPaths::setUserLogDirW(L""), FException);
    EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), folder.file("x/")) << "the former one stays";
}

TEST(TFSysFile, MakesOneDirectory) {
    const TemporaryFolder folder;
    EXPECT_FALSE(TFSysFile::makeDirectory(fWiden(folder.file("a/b"))));
    EXPECT_TRUE(TFSysFile::makeDirectory(fWiden(folder.file("a"))));
    EXPECT_FALSE(TFSysFile::makeDirectory(fWiden(folder.file("a"))));
    EXPECT_TRUE(TFSysFile::exists(fWiden(folder.file("a"))));
    EXPECT_FALSE(TFSysFile::exists(fWiden(folder.file("b"))));
}

TEST(PosixDifferences, SocketsAreNotInherited) {
    const FileDescriptor socket = closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    ASSERT_TRUE(socket);
    EXPECT_NE(fcntl(socket.get(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_FALSE(closeOnExecSocket(-1, SOCK_STREAM));
}

TEST(PosixDifferences, ThreadsHaveDifferentNumbers) {
    const std::uint32_t mine = threadIdNumber();
    std::uint32_t other = mine;
    std::thread([&] { other = threadIdNumber(); }).join();
    EXPECT_NE(mine, other);
    EXPECT_EQ(mine, threadIdNumber());
}

} // namespace
