// SPDX-License-Identifier: MIT

#include "agent/SandboxRoot.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

TEST(SandboxRoot, HasTheFoldersOfASystem) {
    TemporaryFolder folder;
    std::string problem;
    for (int time = 0; time < 2; ++time) { // also when they are there
        EXPECT_EQ(prepareRoot(folder.file("a/../new root/"), problem), folder.file("new root/")) << problem;
    }
    for (const char* part : {"var/log", "var/tmp", "Library/LaunchAgents",
                             "Library/Application Support/com.korvane.remote/registry"}) {
        EXPECT_TRUE(fs::is_directory(folder.file("new root/") + part)) << part;
    }
    const std::string file = folder.file("new root/var/log/file");
    writeFile(file, "");
    EXPECT_EQ(prepareRoot(file, problem), std::nullopt);
    EXPECT_EQ(problem, "the root " + file + " is not usable: Not a directory");
}

TEST(SandboxRoot, MustLeaveRoomForTheNamesOfSockets) {
    constexpr std::size_t kLongestRoot =
        103 - std::string_view("/var/run/com.korvane.remote.KvnServiceController.socket").size();
    TemporaryFolder folder;
    std::string root = folder.file("");
    root.resize(kLongestRoot, 'x');
    std::string problem;
    EXPECT_EQ(prepareRoot(root, problem), root);
    root += "x";
    EXPECT_EQ(prepareRoot(root, problem), std::nullopt);
    EXPECT_EQ(problem, "the root " + root + " is too long: socket paths have at most 103 bytes");
    EXPECT_FALSE(fs::exists(root));
}

} // namespace
} // namespace kvn::test
