// SPDX-License-Identifier: MIT

#include "core/base/Errors.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/system/ReadFile.h"
#include "core/system/Trust.h"
#include "core/system/WakePipe.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

TEST(FSysInfoPaths, SetsTheLogDirectory) {
    const TemporaryFolder folder;
    for (const std::string ending : {"", "/"}) {
        FSysInfoPaths::setUserLogDirW(fWiden(folder.file("x") + ending));
        EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), folder.file("x/"));
    }
    EXPECT_EQ(fs::status(folder.file("x")).permissions(), fs::perms(0777));
    fs::create_directory(folder.file("closed"));
    fs::permissions(folder.file("closed"), fs::perms(0700));
    fs::create_directory_symlink("closed", folder.file("link"));
    fs::permissions(folder.file("x"), fs::perms(01700));
    for (const char* name : {"link/", "x"}) {
        FSysInfoPaths::setUserLogDirW(fWiden(folder.file(name)));
    }
    EXPECT_EQ(fs::status(folder.file("closed")).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder.file("x")).permissions(), fs::perms(01777)) << "the sticky bit stays";
    EXPECT_THAT(fNarrow(FSysInfoPaths::getNewLogFileNameW(L"Agent_", L".txt")),
                testing::MatchesRegex(folder.file("x/Agent_[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}-[0-9]{2}-"
                                                  "[0-9]{2}[.][0-9]{3}[.]txt")));

    writeFile(folder.file("file"), "");
    for (const char* bad : {"file", "missing/below"}) {
        EXPECT_THROW(FSysInfoPaths::setUserLogDirW(fWiden(folder.file(bad))), FException) << bad;
    }
    EXPECT_EQ(fNarrow(FSysInfoPaths::getUserLogDirW()), folder.file("x/")) << "the former one stays";
}

TEST(fReadFile, StopsAtTheLimit) {
    const TemporaryFolder folder;
    const std::string path = folder.file("f");
    writeFile(path, std::string(5000, 'x'));
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(fReadFile(path, 5000), std::string(5000, 'x'));
    EXPECT_EQ(fReadFile(folder.file("pipe"), 1), "") << "waits for no writer";
    const std::pair<std::string, int> failures[] = {
        {path, EFBIG}, {folder.file("missing"), ENOENT}, {folder.path(), EISDIR}};
    for (const auto& [bad, error] : failures) {
        EXPECT_FALSE(fReadFile(bad, 4999));
        EXPECT_EQ(errno, error) << bad;
    }
}

TEST(fOpenTrustedFile, AcceptsAFileThatNobodyElseCanChange) {
    const TemporaryFolder root;
    const std::string folder = root.file("folder"), file = folder + "/file";
    fs::create_directory(folder);
    writeFile(file, "");
    fs::create_symlink("file", folder + "/link");
    fs::create_directory_symlink("folder", root.file("folderLink"));
    ASSERT_EQ(mkfifo((folder + "/pipe").c_str(), 0600), 0);

    const struct {
        std::string path;
        mode_t folder, file;
        int error;
        const char* root = "/";
        uid_t owner = ::geteuid();
    } cases[] = {
        {file, 0755, 0644, 0, root.path().c_str()},
        {file, 0755, 0644, ::geteuid() == 0 ? 0 : EPERM}, // without a root folder the file must be root's
        {file, 0775, 0644, EPERM, root.path().c_str()},
        {file, 0757, 0644, EPERM, root.path().c_str()},
        {file, 0755, 0664, EPERM, root.path().c_str()},
        {file, 0755, 0646, EPERM, root.path().c_str()},
        {file, 0755, 0644, ::geteuid() == 0 ? EPERM : 0, root.path().c_str(),
         ::geteuid() == 0 ? 2 : ::geteuid()},
        {folder + "/link", 0755, 0644, ELOOP, root.path().c_str()},
        {folder + "/pipe", 0755, 0644, EPERM, root.path().c_str()},
        {folder + "/missing", 0755, 0644, ENOENT, root.path().c_str()},
        {root.file("folderLink/file"), 0755, 0644, ENOTDIR, root.path().c_str()},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.path << std::oct << " " << one.folder << " " << one.file);
        FSysInfoPaths::setRoot(one.root);
        ASSERT_EQ(::chown(file.c_str(), one.owner, static_cast<gid_t>(-1)), 0);
        ASSERT_EQ(::chmod(folder.c_str(), one.folder) + ::chmod(file.c_str(), one.file), 0);
        errno = 0;
        EXPECT_EQ(static_cast<bool>(fOpenTrustedFile(one.path)), one.error == 0);
        EXPECT_TRUE(errno == one.error || (errno == ELOOP && one.error == ENOTDIR)) << errno;
    }
    FSysInfoPaths::setRoot("");
}

TEST(WakePipe, WakesAndDoesNotBlock) {
    const WakePipe pipe;
    pollfd polled = {pipe.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 0), 0);
    for (int i = 0; i < 100'000; ++i) { // more than a pipe holds
        pipe.wake();
    }
    EXPECT_EQ(::poll(&polled, 1, 0), 1);
    pipe.drain();
    EXPECT_EQ(::poll(&polled, 1, 0), 0);
    EXPECT_EQ(fcntl(pipe.descriptor(), F_GETFD), FD_CLOEXEC);
}

} // namespace
