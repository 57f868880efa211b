#include "core/logging/CNSLog.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace {

using kvn::test::TemporaryFolder;
using kvn::test::writeFile;

namespace fs = std::filesystem;

void setAge(const std::string& path, long minutes) {
    timespec times[2]{};
    times[0].tv_sec = times[1].tv_sec = time(nullptr) - minutes * 60;
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

bool isThere(const std::string& path) { return fs::exists(fs::symlink_status(path)); }

TEST(CNSCleanupLogDir, DeletesOldLogFilesOnly) {
    struct Case {
        const char* name;
        long age; // minutes; the limit is 720
        bool stays;
    };
    const Case cases[] = {
        {"OLD.LOG", 721, false},  {"a.txt", 100'000, false}, {"b.Zip", 721, false},
        {".txt", 721, false},     {"young.txt", 719, true},  {"future.txt", -10, true},
        {"old.log.1", 721, true}, {"log", 721, true},        {"a.txtx", 721, true},
    };
    const TemporaryFolder folder;
    for (const Case& c : cases) {
        writeFile(folder.file(c.name), "x");
        setAge(folder.file(c.name), c.age);
    }
    fs::create_directory(folder.file("folder.log"));
    writeFile(folder.file("folder.log/inside.txt"), "x");
    setAge(folder.file("folder.log/inside.txt"), 1000);
    setAge(folder.file("folder.log"), 1000);

    Kvs::CNSCleanupLogDir(folder.path().c_str(), 720);
    for (const Case& c : cases) {
        EXPECT_EQ(isThere(folder.file(c.name)), c.stays) << c.name;
    }
    EXPECT_TRUE(isThere(folder.file("folder.log/inside.txt")));
}

TEST(CNSCleanupLogDir, RemovesLinksAndNotWhatTheyPointTo) {
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    writeFile(elsewhere.file("target.txt"), "x");
    setAge(elsewhere.file("target.txt"), 1000);
    fs::create_symlink(elsewhere.file("target.txt"), folder.file("file.txt"));
    fs::create_symlink(elsewhere.path(), folder.file("folder.log"));
    fs::create_symlink(elsewhere.file("target.txt"), folder.file("young.txt"));
    setAge(folder.file("file.txt"), 1000);
    setAge(folder.file("folder.log"), 1000);
    Kvs::CNSCleanupLogDir(folder.path().c_str(), 720);
    EXPECT_FALSE(isThere(folder.file("file.txt")));
    EXPECT_FALSE(isThere(folder.file("folder.log")));
    EXPECT_TRUE(isThere(folder.file("young.txt"))) << "the link's own age counts";
    EXPECT_TRUE(isThere(elsewhere.file("target.txt")));
}

TEST(CNSCleanupLogDir, TheParentOfLogsIsCleanedToo) {
    const TemporaryFolder folder;
    for (const std::string name : {"logs", "log"}) {
        const std::string directory = folder.file(name);
        fs::create_directories(directory);
        const std::string inside = directory + "/a.txt";
        const std::string above = folder.file("above.txt");
        for (const std::string& file : {inside, above}) {
            writeFile(file, "x");
            setAge(file, 1000);
        }
        Kvs::CNSCleanupLogDir(directory.c_str(), 720);
        EXPECT_FALSE(isThere(inside));
        EXPECT_EQ(isThere(above), name == "log");
    }
}

TEST(CNSCleanupLogDir, NothingToCleanIsNoError) {
    const kvn::test::CapturedLog log;
    Kvs::CNSCleanupLogDir(nullptr, 0);
    Kvs::CNSCleanupLogDir("", 0);
    Kvs::CNSCleanupLogDir("/nowhere/logs", 0);
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
