// SPDX-License-Identifier: MIT

#include "agent/Options.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

std::variant<Options, std::string> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "KvnGUIAgent");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(Options, AreUnderstoodInAnyOrder) {
    const auto options = std::get<Options>(parse({"--ui", "none", "--root", "/tmp/x"}));
    EXPECT_EQ(options.root, "/tmp/x");
    EXPECT_EQ(options.frontEnd, host::FrontEnd::None);
    EXPECT_FALSE(std::get<Options>(parse({})).frontEnd);
    EXPECT_FALSE(std::get<Options>(parse({})).show);
    EXPECT_EQ(std::get<Options>(parse({"--show", "settings"})).show, RequestedDialog::Settings);
    EXPECT_EQ(std::get<Options>(parse({"--show", "status"})).show, RequestedDialog::Status);
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

} // namespace
} // namespace kvn::test
