// SPDX-License-Identifier: MIT

#include "host/linux/BusConnection.h"
#include "host/linux/LinuxPowerManagement.h"
#include "host/linux/LinuxWorkspace.h"
#include "host/linux/LogindConsoleUser.h"
#include "host/linux/SessionBusNotifications.h"
#include "tests/support/HostileBus.h"
#include "tests/support/LoopGap.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using Bus = host::BusConnection::Bus;

std::ptrdiff_t countOf(const char* folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

int answerOne(sd_bus*, const char*, const char*, const char*, sd_bus_message* answer, void* value,
              sd_bus_error*) {
    return sd_bus_message_append(answer, "u", *static_cast<std::uint32_t*>(value));
}

/// An object with one property.
const sd_bus_vtable kObject[] = {SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("Value", "u", answerOne, 0, 0),
                                 SD_BUS_VTABLE_END};

/// Everything that uses the buses, as the agent does. Records the loop's longest gap, its own making and end
/// included.
struct BusUsers {
    explicit BusUsers(host::MainLoop& loop) : loop_(loop), runner_(loop), gap(loop) {}

    void work() {
        host::PowerManagement::AssertionId id = 0;
        power_.declareUserActivity("name", host::PowerManagement::UserActivity::Remote, id);
        power_.preventIdleDisplaySleep("name", id);
        power_.releaseAssertion(id);
        notifications_.post({"name", "", {}});
        console_.current();
    }

private:
    host::MainLoop& loop_;
    host::PosixProcessRunner runner_;

public:
    LoopGap gap;

private:
    std::shared_ptr<host::BusConnection> session_ =
        std::make_shared<host::BusConnection>(loop_, Bus::Session);
    std::shared_ptr<host::BusConnection> system_ = std::make_shared<host::BusConnection>(loop_, Bus::System);
    host::LinuxPowerManagement power_{loop_, session_, system_};
    host::LogindConsoleUser console_{loop_, system_};
    host::LinuxWorkspace workspace_{loop_, runner_, session_, system_};
    host::SessionBusNotifications notifications_{loop_, session_};
    host::MainLoop::Handle events_ = workspace_.observe([](host::Workspace::Event) {});
    std::uint32_t value_ = 1;
    host::MainLoop::Handle served_ = session_->serve("/object", "com.korvane.Object", kObject, &value_);
    bool registered_ = power_.registerForSystemPower([](std::uint32_t, std::intptr_t) {});
};

/// Returns the longest time for which the users of the bus held the loop, from their making to their end.
std::chrono::milliseconds longestGap(const HostileBus::Habits& habits, const char* logged) {
    const CapturedLog log;
    host::PollMainLoop loop;
    const HostileBus bus(habits);
    const auto descriptors = countOf("/proc/self/fd");
    const auto threads = countOf("/proc/self/task");
    std::optional<BusUsers> users;
    users.emplace(loop);
    EXPECT_TRUE(pumpUntil(loop, [&] {
        users->work();
        return users->gap.ticks() >= 100 && bus.accepted() >= 2 && (!*logged || log.contains(logged));
    }));
    EXPECT_EQ(countOf("/proc/self/task"), threads);
    const auto running = users->gap.longest();
    const auto end = std::chrono::steady_clock::now();
    users.reset();
    const auto ending =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - end);
    EXPECT_TRUE(
        waitUntil([&] { return countOf("/proc/self/fd") <= descriptors + bus.accepted(); })); // its ends
    EXPECT_LE(log.lines().size(), 12U);
    return std::max(running, ending);
}

TEST(BusConnection, NoBusHoldsTheLoop) {
    const std::string ping = busMessage(
        kCall, {{'\x01', "/"}, {'\x02', "org.freedesktop.DBus.Peer"}, {'\x03', "Ping"}, {'\x07', ":1.2"}}, "",
        "");
    const std::vector<std::pair<char, std::string>> posted{{'\x01', "/com/korvane/DistributedNotifications"},
                                                           {'\x02', "com.korvane.DistributedNotifications"},
                                                           {'\x03', "Posted"},
                                                           {'\x07', ":1.2"}};
    const std::string get = busMessage(kCall,
                                       {{'\x01', "/object"},
                                        {'\x02', "org.freedesktop.DBus.Properties"},
                                        {'\x03', "GetAll"},
                                        {'\x07', ":1.2"}},
                                       "s", "\x12\0\0\0com.korvane.Object\0"s);
    const std::string wrong = busMessage(kSignal, posted, "s", "\x02\0\0\0hi\0"s);
    const std::string right =
        busMessage(kSignal, posted, "ssa{ss}", "\x01\0\0\0n\0\0\0\x01\0\0\0o\0\0\0\0\0\0\0\0\0\0\0"s);
    const struct {
        const char* name;
        HostileBus::Habits habits;
        const char* logged; // proves that the bus came that far
    } cases[] = {
        {"silent", {}, ""},
        {"half an answer", {"DATA\r\nOK 01234567"}, ""},
        {"accepts and is silent", {kAccepted}, ""},
        {"welcomes and is silent", {kWelcome}, ""},
        {"hangs up at once", {"", "", true}, "No session bus"},
        {"hangs up after the welcome", {kWelcome, "", true}, "No session bus"},
        {"garbage", {"", "garbage\0\r\n"s}, "No session bus"},
        {"garbage after the welcome", {kWelcome, "garbage"}, "Bad message"},
        {"notifications for ever", {kWelcome, right}, ""},
        {"nonsense for ever", {kWelcome, wrong}, "A notification on the session bus"},
        {"questions for ever, and reads no answer", {kWelcome, ping}, "does not take what is sent"},
        {"calls of an object for ever", {kWelcome, get}, "does not take what is sent"},
    };
    for (const auto& example : cases) {
        EXPECT_LT(longestGap(example.habits, example.logged), 100ms) << example.name;
    }
}

/// On a fake clock, so that the pauses take no time.
TEST(BusConnection, SeeksALostBusAfterGrowingPauses) {
    const CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop(clock);
    HostileBus bus({kWelcome});
    host::BusConnection connection(loop, Bus::Session);
    std::vector<bool> states;
    const auto state = connection.onState([&](bool connected) { states.push_back(connected); });
    const auto turnUntil = [&](auto condition) {
        return waitUntil([&] {
            for (int descriptor = 0; descriptor < 64; ++descriptor) {
                loop.fireReadable(descriptor);
            }
            loop.runPending();
            return condition();
        });
    };
    const auto connects = [&] { return turnUntil([&] { return connection.isConnected(); }); };
    const auto lose = [&] {
        bus.hangUp();
        return turnUntil([&] { return !connection.isConnected(); });
    };
    ASSERT_TRUE(connects());
    int accepted = 1;
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 32s, 64s, 64s}) {
        ASSERT_TRUE(lose());
        loop.advance(pause - 1ms);
        EXPECT_EQ(bus.accepted(), accepted);
        loop.advance(1ms);
        ASSERT_TRUE(connects());
        EXPECT_EQ(bus.accepted(), ++accepted);
    }
    loop.advance(host::BusConnection::kLongestPause); // it lasts
    ASSERT_TRUE(lose());
    loop.advance(1ms);
    ASSERT_TRUE(connects());
    ASSERT_TRUE(lose());
    EXPECT_EQ(log.count("No session bus"), 10);
    EXPECT_EQ(log.count("The session bus is there again"), 9);
    EXPECT_EQ(states.size(), 20U);

    loop.advance(1s); // the next pause is a second again
    EXPECT_TRUE(connects());
}

TEST(BusConnection, GivesABusThatDoesNotAnswerTenSeconds) {
    const CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop(clock);
    const HostileBus bus({kAccepted});
    host::BusConnection connection(loop, Bus::System);
    const auto state = connection.onState([](bool) { ADD_FAILURE(); });
    EXPECT_TRUE(waitUntil([&] { return bus.accepted() == 1; }));
    loop.advance(host::BusConnection::kConnectTimeLimit);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.contains("it does not answer"));
    loop.advance(1s);
    EXPECT_TRUE(waitUntil([&] { return bus.accepted() == 2; }));
}

} // namespace
} // namespace kvn::test
