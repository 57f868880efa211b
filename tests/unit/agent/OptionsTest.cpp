// SPDX-License-Identifier: MIT

#include "agent/Options.h"
#include "agent/SandboxRoot.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

std::variant<Options, std::string> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "KvnGUIAgent");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(Options, MistakesAreNamed) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"--verbose"}, "unknown option: --verbose"},
        {{"x"}, "unknown option: x"},
        {{"--root", ""}, "--root needs a folder"},
        {{"--ui", "gtk"}, "--ui takes desktop, terminal or none, not gtk"},
        {{"--show", "Status"}, "--show takes settings or status, not Status"},
        {{"--root", "/x", "--ui"}, "--ui needs a value"},
    };
    for (const auto& [arguments, problem] : cases) {
        EXPECT_EQ(std::get<std::string>(parse(arguments)), problem);
    }
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
