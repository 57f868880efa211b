#include "host/linux/LogindConsoleUser.h"
#include "tests/support/PrivateBus.h"

namespace kvn::test {
namespace {

template <class T>
using Reference = sdbus::Struct<T, sdbus::ObjectPath>;

/// A logind with a seat and the sessions "a" and "g".
class FakeLogind {
public:
    FakeLogind() {
        describe(*alice_, "user", "alice", 501);
        describe(*greeter_, "greeter", "gdm", 117);
        seat_->registerProperty("ActiveSession").onInterface(kSeat).withGetter([this] {
            const std::string path = active_ == '/' ? "/" : std::string("/session/") + active_.load();
            return Reference<std::string>("id", sdbus::ObjectPath(path));
        });
        seat_->finishRegistration();
        program_.serve({"org.freedesktop.login1"});
    }
    void activate(char session) {
        active_ = session;
        seat_->emitPropertiesChangedSignal(kSeat, {"ActiveSession"});
    }

private:
    static constexpr const char* kSeat = "org.freedesktop.login1.Seat";

    static void describe(sdbus::IObject& session, std::string kind, std::string name, std::uint32_t uid) {
        const auto add = [&](const char* property, auto value) {
            session.registerProperty(property)
                .onInterface("org.freedesktop.login1.Session")
                .withGetter([value] { return value; });
        };
        add("Class", kind);
        add("Name", name);
        add("User", Reference<std::uint32_t>(uid, sdbus::ObjectPath("/user")));
        session.finishRegistration();
    }

    std::atomic<char> active_ = 'g';
    BusProgram program_;
    std::unique_ptr<sdbus::IObject> alice_ = program_.makeObject("/session/a");
    std::unique_ptr<sdbus::IObject> greeter_ = program_.makeObject("/session/g");
    std::unique_ptr<sdbus::IObject> seat_ = program_.makeObject("/org/freedesktop/login1/seat/seat0");
};

TEST(LogindConsoleUser, FollowsTheForegroundSession) {
    const CapturedLog log;
    PrivateBus bus;
    EXPECT_EQ(host::LogindConsoleUser(bus.loop()).current().name, std::nullopt);
    bus.start(); // without services
    EXPECT_EQ(host::LogindConsoleUser(bus.loop()).current().name, std::nullopt);
    EXPECT_EQ(log.lines().size(), 2U);

    FakeLogind logind;
    host::LogindConsoleUser console(bus.loop());
    host::ConsoleUser::Owner owner;
    int changes = 0;
    const auto registration = console.onChange([&] {
        owner = console.current();
        ++changes;
    });
    EXPECT_EQ(console.current().name, "loginwindow");
    const std::tuple<char, std::optional<std::string>, uid_t> cases[] = {
        {'a', "alice", 501},
        {'/', std::nullopt, 0},
        {'x', std::nullopt, 0}, // ended before it was asked for
        {'g', "loginwindow", 117},
    };
    for (const auto& [session, name, uid] : cases) {
        const int before = changes;
        logind.activate(session);
        ASSERT_TRUE(pumpUntil(bus.loop(), [&] { return changes > before; }));
        EXPECT_EQ(std::pair(owner.name, owner.uid), std::pair(name, uid));
    }
    EXPECT_EQ(log.lines().size(), 3U);

    bus.stop();
    ASSERT_TRUE(pumpUntil(bus.loop(), [&] { return log.lines().size() == 4; }));
    EXPECT_EQ(console.current().name, std::nullopt);
    EXPECT_EQ(log.lines().size(), 4U); // told once
}

TEST(LogindConsoleUser, DoesNotWaitLongForAnAnswer) {
    PrivateBus bus;
    bus.start();
    host::LogindConsoleUser console(bus.loop());
    const auto registration = console.onChange([] {});
    bus.freeze();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(console.current().name, std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s); // the library's limit: 25
}

} // namespace
} // namespace kvn::test
