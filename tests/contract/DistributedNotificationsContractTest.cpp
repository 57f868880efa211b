// SPDX-License-Identifier: MIT

#include IMPLEMENTATIONS
#include "host/DistributedNotifications.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::Notification;

/// Checks what the backend's notifications have to do, whichever service of the session carries them.
class DistributedNotificationsContract : public testing::Test {
protected:
    void SetUp() override { // connecting may take a moment
        ASSERT_TRUE(pumpUntil(session_.loop(), [&] { return post("ready", ""); }));
    }
    /// Keeps what comes as "object: key=value key=value".
    host::MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object = {}) {
        return notifications_->observe(own_ + name, object, [this, name](const Notification& notification) {
            EXPECT_EQ(notification.name, own_ + name);
            received_.push_back(notification.object + ":");
            for (const auto& [key, value] : notification.userInfo) {
                received_.back() += " " + key + "=" + value;
            }
        });
    }
    bool post(const std::string& name, const std::string& object,
              const std::map<std::string, std::string, std::less<>>& userInfo = {}) {
        return notifications_->post({own_ + name, object, userInfo});
    }
    bool receives(const std::string& text) {
        return pumpUntil(session_.loop(), [&] { return testing::Value(received_, Contains(text)); });
    }

    /// Begins each name, because other programs of the session may post, too.
    const std::string own_ = "com.korvane.test." + std::to_string(getpid()) + ".";
    Session session_;
    std::unique_ptr<host::DistributedNotifications> notifications_ =
        host::makeDistributedNotifications(session_.loop());
    std::vector<std::string> received_;
};

TEST_F(DistributedNotificationsContract, CallsTheObserversOfTheNameAndTheObject) {
    const auto any = observe("name");
    const auto fromMe = observe("name", "me");
    auto ended = observe("name");
    ended.reset();
    const auto last = observe("last");
    EXPECT_TRUE(post("name", "me", {{"key", "\xC3\xA4"}}));
    EXPECT_TRUE(post("name", "you", {{"a", "1"}, {"b", ""}}));
    EXPECT_TRUE(post("other", "me"));
    EXPECT_TRUE(post("last", "end"));
    EXPECT_TRUE(receives("end:"));
    EXPECT_THAT(received_, ElementsAre("me: key=\xC3\xA4", "me: key=\xC3\xA4", "you: a=1 b=", "end:"));
}

TEST_F(DistributedNotificationsContract, HandlersMayEndObserversAndPost) {
    std::vector<host::MainLoop::Handle> both(2);
    for (auto& handle : both) {
        handle = notifications_->observe(own_ + "name", {}, [&](const Notification&) {
            both.clear();
            EXPECT_TRUE(post("answer", "once"));
        });
    }
    const auto answers = observe("answer");
    EXPECT_TRUE(post("name", ""));
    EXPECT_TRUE(post("name", ""));
    EXPECT_TRUE(post("answer", "last"));
    EXPECT_TRUE(receives("last:") && receives("once:"));
    EXPECT_THAT(received_, SizeIs(2));
}

} // namespace
} // namespace kvn::test
