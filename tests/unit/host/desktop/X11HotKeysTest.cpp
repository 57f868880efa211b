// SPDX-License-Identifier: MIT

#include "host/desktop/X11HotKeys.h"
#include "core/system/FileDescriptor.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

#include <X11/keysym.h>

namespace kvn::test {
namespace {

using host::HotKeys;
using testing::Each;

constexpr HotKeys::Key kKey{126, 0x1100, 0, 0}; // Control + Super + Up

/// An X server without a screen, which chooses its display itself.
class X11HotKeys : public testing::Test {
protected:
    void SetUp() override {
        if (access("/usr/bin/Xvfb", X_OK) != 0 || access("/usr/bin/xdotool", X_OK) != 0) {
            GTEST_SKIP() << "the xvfb or the xdotool package is missing";
        }
        const std::string chosen = folder_.file("display");
        const auto server = runner_.launch(
            "/bin/sh", {"-c", "exec /usr/bin/Xvfb -displayfd 3 -nolisten tcp 3>\"$0\" 2>/dev/null", chosen});
        server_ = std::get<pid_t>(server);
        ASSERT_TRUE(pumpUntil(loop_, [&] { return fs::exists(chosen) && readFile(chosen).ends_with("\n"); }));
        const std::string display = ":" + readFile(chosen);
        setenv("DISPLAY", display.substr(0, display.size() - 1).c_str(), 1);
        keys_.emplace(loop_);
        keys_->installHandler([this](std::uint32_t kind) { return kinds_.push_back(kind), 0; });
    }
    void TearDown() override {
        keys_.reset();
        if (server_ != 0) {
            kill(server_, SIGTERM); // it removes its lock
        }
    }
    void xdotool(const std::vector<std::string>& arguments) {
        const auto outcome = runner_.run("/usr/bin/xdotool", arguments, {20s, 1000});
        ASSERT_TRUE(std::holds_alternative<host::ProcessRunner::Outcome>(outcome));
        EXPECT_EQ(std::get<host::ProcessRunner::Outcome>(outcome).errors, "");
    }
    std::vector<std::uint32_t> told(std::size_t count) {
        EXPECT_TRUE(pumpUntil(loop_, [&] { return kinds_.size() >= count; }));
        return std::exchange(kinds_, {});
    }

    bool isToldSoon(std::uint32_t kind) {
        return pumpUntil(loop_, [&] { return !kinds_.empty() && kinds_.back() == kind; });
    }
    /// Gives the keys other symbols.
    static void change(const std::vector<std::pair<xcb_keycode_t, xcb_keysym_t>>& symbols) {
        xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
        for (const auto& [key, symbol] : symbols) {
            xcb_change_keyboard_mapping(connection, 1, key, 1, &symbol);
        }
        std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); // waits
        xcb_disconnect(connection);
    }

    TemporaryFolder folder_;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
    pid_t server_ = 0;
    std::optional<host::X11HotKeys> keys_;
    HotKeys::Reference reference_ = 0;
    std::vector<std::uint32_t> kinds_;
};

TEST_F(X11HotKeys, AreTheUsersWhateverTheLocksAre) {
    ASSERT_EQ(keys_->registerHotKey(kKey, reference_), 0);
    for (const char* lock : {"Caps_Lock", "Num_Lock", "Caps_Lock", "Num_Lock"}) {
        xdotool({"key", "Control_L+Up"});
        xdotool({"key", "Control_R+Super_R+Up"});
        EXPECT_THAT(told(2), ElementsAre(HotKeys::kPressed, HotKeys::kReleased)) << "before " << lock;
        xdotool({"key", lock});
    }
    xdotool({"keydown", "Control_L", "keydown", "Super_L", "keydown", "Up"});
    EXPECT_THAT(told(1), ElementsAre(HotKeys::kPressed));
    xdotool({"sleep", "1"}); // the key repeats meanwhile
    xdotool({"keyup", "Up", "keyup", "Super_L", "keyup", "Control_L"});
    EXPECT_THAT(told(1), ElementsAre(HotKeys::kReleased));
}

TEST_F(X11HotKeys, BelongToTheProgramThatCameFirst) {
    std::optional<host::X11HotKeys> first(std::in_place, loop_);
    HotKeys::Reference firstReference = 0;
    ASSERT_EQ(first->registerHotKey(kKey, firstReference), 0);
    EXPECT_EQ(keys_->registerHotKey(kKey, reference_), HotKeys::kTaken);
    EXPECT_EQ(reference_, 0U);
    EXPECT_EQ(keys_->registerHotKey({125, 0x1100, 0, 0}, reference_), 0);
    keys_->unregisterHotKey(reference_);
    first->unregisterHotKey(firstReference);
    xdotool({"key", "Control_L+Super_L+Up"}); // which also waits until the key is free
    EXPECT_EQ(keys_->registerHotKey(kKey, reference_), 0);
}

TEST_F(X11HotKeys, FollowTheLayoutOfTheKeyboard) {
    ASSERT_EQ(keys_->registerHotKey(kKey, reference_), 0);
    std::optional<host::X11HotKeys> other(std::in_place, loop_);
    HotKeys::Reference otherReference = 0;
    ASSERT_EQ(other->registerHotKey({125, 0x1100, 0, 0}, otherReference), 0);

    constexpr xcb_keysym_t kNone = 0;
    constexpr xcb_keycode_t kUnused = 97;
    constexpr xcb_keycode_t kUp = 111;
    change({{kUnused, XK_Up}, {kUp, kNone}});
    EXPECT_TRUE(pumpUntil(loop_, [&] { // it takes a moment until the new place is known
        xdotool({"key", "Control_L+Super_L+Up"});
        return kinds_.size() >= 2;
    }));
    EXPECT_THAT(kinds_, Each(testing::AnyOf(HotKeys::kPressed, HotKeys::kReleased)));

    constexpr xcb_keycode_t kDown = 116; // which the other program has
    change({{kUnused, kNone}, {kDown, XK_Up}});
    EXPECT_TRUE(isToldSoon(HotKeys::kRefused));
    change({{kUp, XK_Up}, {kDown, XK_Down}});
    EXPECT_TRUE(isToldSoon(HotKeys::kGranted));
}

} // namespace
} // namespace kvn::test
