// SPDX-License-Identifier: MIT

#include "host/linux/SessionBusNotifications.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::Notification;

/// Posts a signal with any arguments, as another program may.
template <class... Arguments>
void emitSignal(const Arguments&... arguments) {
    const auto connection = host::connectToBus(host::Bus::Session);
    ASSERT_TRUE(connection);
    sdbus::createObject(*connection, "/com/korvane/DistributedNotifications")
        ->emitSignal("Posted")
        .onInterface("com.korvane.DistributedNotifications")
        .withArguments(arguments...);
}

/// The main loop runs on a fake clock, because a lost bus is tried again every 30 seconds.
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
        EXPECT_TRUE(waitUntil([&] {
            runLoop();
            return received_.size() >= count;
        }));
        return std::exchange(received_, {});
    }
    void runLoop() {
        for (int descriptor = 0; descriptor < 64; ++descriptor) {
            loop_.fireReadable(descriptor); // does not block when there is nothing to read
        }
        loop_.runPending();
    }

    PrivateBus bus_;
    CapturedLog log_;
    FakeClock clock_;
    ManualMainLoop loop_{clock_};
    host::SessionBusNotifications notifications_{loop_};
    std::vector<std::string> received_;
};

TEST_F(SessionBusNotifications, ReadsTheFormsOfOtherPrograms) {
    bus_.start();
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
    bus_.start();
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

TEST_F(SessionBusNotifications, SurvivesItsBus) {
    const auto observer = observe("name");
    EXPECT_FALSE(notifications_.post({"name", "", {}}));
    EXPECT_EQ(log_.lines().size(), 1U);

    // The bus is found again by the timer and by the next post. Its loss is noticed once, and once not.
    for (int round = 0; round < 2; ++round) {
        bus_.start();
        loop_.advance(host::SessionBusNotifications::kRetryInterval);
        EXPECT_TRUE(log_.contains("there again"));
        EXPECT_TRUE(host::SessionBusNotifications(loop_).post({"name", "other", {}}));
        EXPECT_THAT(take(1), ElementsAre("other:"));

        bus_.stop();
        EXPECT_TRUE(waitUntil([this] {
            runLoop();
            return log_.lines().back().find("No session bus") != std::string::npos;
        }));
        loop_.advance(1h);
        EXPECT_EQ(log_.lines().size(), round == 0 ? 3U : 5U);
    }
    bus_.start();
    EXPECT_TRUE(notifications_.post({"name", "found", {}}));
    EXPECT_EQ(take(1).size(), 1U);
    bus_.stop();
    bus_.start();
    EXPECT_TRUE(notifications_.post({"name", "not lost", {}}));
    EXPECT_THAT(take(1), ElementsAre("not lost:"));
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
    bus_.start();
    const auto observer = observe("com.korvane.remote.Permissions");
    EXPECT_EQ(check(), 0);
    EXPECT_THAT(take(1), ElementsAre("com.korvane.remote.KvnPreLoginAgent: accessibility=1 recording=1"));
    unsetenv("KVN_REMOTE_ROOT");
}

} // namespace
} // namespace kvn::test
