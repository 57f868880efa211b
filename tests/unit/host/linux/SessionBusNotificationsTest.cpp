// SPDX-License-Identifier: MIT

#include "host/linux/SessionBusNotifications.h"
#include "host/linux/NotificationMessage.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::Notification;

constexpr const char* kPath = "/com/korvane/DistributedNotifications";
constexpr const char* kInterface = "com.korvane.DistributedNotifications";

/// Posts a signal with any arguments, as another program may.
template <class... Arguments>
void emitSignal(const Arguments&... arguments) {
    const host::SignalsBlocked blocked;
    const auto connection = sdbus::createSessionBusConnection();
    sdbus::createObject(*connection, kPath)
        ->emitSignal("Posted")
        .onInterface(kInterface)
        .withArguments(arguments...);
}

class SessionBusNotifications : public testing::Test {
protected:
    /// Keeps what comes as "object: key=value key=value".
    host::MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object = {}) {
        return notifications_.observe(name, object, [this, name](const Notification& notification) {
            EXPECT_EQ(notification.name, name);
            received_.push_back(notification.object + ":");
            for (const auto& [key, value] : notification.userInfo) {
                received_.back() += " " + key + "=" + value;
            }
        });
    }
    /// Waits for so many notifications, and drops them.
    std::vector<std::string> take(std::size_t count) {
        EXPECT_TRUE(pumpUntil(bus_.loop(), [&] { return received_.size() >= count; }));
        return std::exchange(received_, {});
    }

    PrivateBus bus_;
    CapturedLog log_;
    host::SessionBusNotifications notifications_{bus_.loop(), bus_.connection()};
    std::vector<std::string> received_;
};

TEST_F(SessionBusNotifications, ReadsTheFormsOfOtherPrograms) {
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto any = observe("name");
    const auto last = observe("last");
    // Values without a text and other arguments are left out.
    using Texts = std::map<std::string, std::string>;
    emitSignal("name"s, "you"s, Texts{{"a", "1"}, {"b", ""}});
    emitSignal(std::int32_t{7});
    emitSignal("name"s, "you"s, "text"s);
    using Values = std::map<std::string, sdbus::Variant>;
    emitSignal("name"s, "you"s, Values{{"bool", true}, {"int", -4}, {"text", "x"s}, {"real", 0.5}});
    EXPECT_FALSE(notifications_.post({"last", "\xFF", {}}));
    EXPECT_TRUE(notifications_.post({"last", "", {}}));

    EXPECT_THAT(take(3), ElementsAre("you: a=1 b=", "you: bool=1 int=-4 text=x", ":"));
}

TEST_F(SessionBusNotifications, HandlersMayPostMoreThanAreTakenAtOnce) {
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto answers = observe("answer");
    const auto asked = notifications_.observe("name", {}, [&](const Notification&) {
        for (int i = 0; i < 500; ++i) {
            EXPECT_TRUE(notifications_.post({"answer", std::to_string(i), {}}));
        }
    });
    EXPECT_TRUE(notifications_.post({"name", "", {}}));
    emitSignal("answer"s, "last"s, std::map<std::string, std::string>());
    EXPECT_EQ(take(501).size(), 501U);
}

TEST_F(SessionBusNotifications, IgnoresLongOnesAndThoseToThisProgramAlone) {
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto observer = observe("name");
    using Texts = std::map<std::string, std::string>;
    const std::string half(host::kMaxNotificationBytes / 2, 'x');
    for (int i = 0; i < 3; ++i) {
        emitSignal("name"s, "too long"s, Texts{{"a", half}, {"b", half}});
    }
    emitToEach(kPath, kInterface, "Posted", "name", "to you alone", Texts{});
    emitSignal("name"s, "last"s, Texts{{"a", half}});
    EXPECT_THAT(take(1), ElementsAre("last: a=" + half));
    EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(SessionBusNotifications, IgnoresThoseThatComeFasterThanTheyAreHandled) {
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto slow = notifications_.observe("flood", {}, [](const Notification&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // as long as it takes to open a window
    });
    const host::SignalsBlocked blocked;
    const auto other = sdbus::createSessionBusConnection();
    const auto object = sdbus::createObject(*other, kPath);
    for (int sent = 0; sent < 3000; ++sent) {
        object->emitSignal("Posted")
            .onInterface(kInterface)
            .withArguments("flood"s, "you"s, std::map<std::string, std::string>());
    }
    EXPECT_TRUE(pumpUntil(bus_.loop(), [&] { return log_.contains("too many wait"); }));
}

/// The script of the bundle starts the pre-login agent under the root, which posts its permissions.
TEST_F(SessionBusNotifications, CarryTheAnswerOfThePreLoginAgent) {
    const TemporaryFolder root;
    setenv("KVN_REMOTE_ROOT", root.path().c_str(), 1);
    const std::string errors = root.file("errors");
    const auto check = [&] { return std::system(("'" VERIFY_PERMISSIONS "' 2>" + errors).c_str()); };
    EXPECT_NE(check(), 0);
    EXPECT_NE(readFile(errors).find("not installed"), std::string::npos);

    const std::string programs =
        root.file("Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/Contents/MacOS");
    fs::create_directories(programs);
    fs::create_symlink(PRE_LOGIN_AGENT, programs + "/KvnPreLoginAgent");
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto observer = observe("com.korvane.remote.Permissions");
    EXPECT_EQ(check(), 0);
    EXPECT_THAT(take(1), ElementsAre("com.korvane.remote.KvnPreLoginAgent: accessibility=1 recording=1"));
    unsetenv("KVN_REMOTE_ROOT");
}

} // namespace
} // namespace kvn::test
