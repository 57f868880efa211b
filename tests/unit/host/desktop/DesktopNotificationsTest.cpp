// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopNotifications.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

class DesktopNotifications : public testing::Test {
protected:
    PrivateBus bus_;
    host::DesktopNotifications notifications_{bus_.connection()};
    // The connection begins with its first user.
    host::MainLoop::Handle use_ = bus_.connection()->onState([](bool) {});
};

TEST_F(DesktopNotifications, TakeThePlaceOfThoseWithTheSameTitle) {
    using Hints = std::map<std::string, sdbus::Variant>;
    BusProgram server;
    server.method("/org/freedesktop/Notifications", "org.freedesktop.Notifications", "Notify",
                  [&](const std::string&, const std::uint32_t& replaced, const std::string& icon,
                      const std::string& title, const std::string& text, const std::vector<std::string>&,
                      const Hints& hints, const std::int32_t&) {
                      EXPECT_EQ(icon, "com.korvane.remote.KvnGUIAgent");
                      EXPECT_EQ(hints.at("desktop-entry").get<std::string>(), icon);
                      EXPECT_EQ(hints.at("urgency").get<std::uint8_t>(), 1);
                      server.note(std::to_string(replaced) + " " + title + ": " + text);
                      return replaced != 0 ? replaced
                                           : static_cast<std::uint32_t>(100 + server.notes().size());
                  });
    server.serve({"org.freedesktop.Notifications"});
    ASSERT_TRUE(bus_.isConnectedSoon());
    const auto show = [&](const char* title, const char* text, std::size_t count) {
        notifications_.show(title, text);
        ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return server.notes().size() == count; }));
        // The answer comes before that of a later call.
        bool answered = false;
        const auto ping = bus_.connection()->call(
            {"org.freedesktop.Notifications", "/", "org.freedesktop.DBus.Peer", "Ping"},
            [&](sd_bus_message*) { answered = true; }, "");
        ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return answered; }));
    };
    show("a", "1", 1);
    show("b", "2", 2);
    show("a", "3", 3);
    show("a", "4", 4);
    EXPECT_THAT(server.notes(), ElementsAre("0 a: 1", "0 b: 2", "101 a: 3", "101 a: 4"));
}

} // namespace
} // namespace kvn::test
