#include "core/base/Errors.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/system/PosixDifferences.h"
#include "core/system/ReadFile.h"
#include "core/text/FGStr.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

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

/// The former HOME comes back at the end of the scope.
class HomeGuard {
public:
    HomeGuard() {
        if (const char* home = std::getenv("HOME")) {
            home_ = home;
        }
    }
    ~HomeGuard() { home_ ? setenv("HOME", home_->c_str(), 1) : unsetenv("HOME"); }
    HomeGuard(const HomeGuard&) = delete;
    HomeGuard& operator=(const HomeGuard&) = delete;

private:
    std::optional<std::string> home_;
};

TEST(FSysInfoPaths, HomeEndsWithASlash) {
    const HomeGuard guard;
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

bool logDirectoryIsMadeInTheHome() {
    const TemporaryFolder home;
    setenv("HOME", home.path().c_str(), 1);
    const std::string first = fNarrow(FSysInfoPaths::getUserLogDirW());
    const std::string second = fNarrow(FSysInfoPaths::getUserLogDirW());
    return first == home.file("KvLogs/") && second == first && std::filesystem::is_directory(first);
}

TEST(FSysInfoPathsDeathTest, TheDefaultLogDirectoryIsMadeInTheHome) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process of its own, where no directory has been set
    EXPECT_EXIT(std::_Exit(logDirectoryIsMadeInTheHome() ? 0 : 1), testing::ExitedWithCode(0), "");
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

TEST(FileDescriptor, AssigningClosesTheFormerNumberAtOnce) {
    FileDescriptor kept(::dup(0));
    FileDescriptor other(::dup(0));
    const int former = kept.get();
    const int number = other.get();
    kept = std::move(other);
    EXPECT_EQ(kept.get(), number);
    EXPECT_EQ(fcntl(former, F_GETFD), -1);
    FileDescriptor& same = kept;
    kept = std::move(same);
    EXPECT_NE(fcntl(number, F_GETFD), -1);
}

TEST(fReadAll, StopsAtTheLimit) {
    const TemporaryFolder folder;
    const std::string path = folder.file("f");
    writeFile(path, std::string(5000, 'x'));
    EXPECT_EQ(fReadFile(path, 5000), std::string(5000, 'x'));
    EXPECT_FALSE(fReadFile(path, 4999));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_FALSE(fReadFile(folder.file("missing"), 1));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(fReadFile(folder.path(), 1));
    EXPECT_EQ(errno, EISDIR);
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(fReadFile(folder.file("pipe"), 1), "") << "waits for no writer";
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
