// SPDX-License-Identifier: MIT

#include "host/linux/LinuxPowerManagement.h"
#include "host/linux/LinuxWorkspace.h"
#include "host/posix/SpawnPlan.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using host::PowerManagement;
using Event = host::Workspace::Event;

/// The services that the desktop and logind offer.
class FakeServices {
public:
    FakeServices() {
        using Text = std::string;
        const auto serve = [](sdbus::IObject& object, const char* interface, const char* method, auto body) {
            object.registerMethod(method).onInterface(interface).implementedAs(body);
        };
        serve(*screenSaver_, kScreenSaver, "SimulateUserActivity", [this] { calls += "activity; "; });
        serve(*screenSaver_, kScreenSaver, "Inhibit", [this](const Text& program, const Text& why) {
            calls += program + ": " + why;
            return std::uint32_t{0xBEEF};
        });
        serve(*screenSaver_, kScreenSaver, "UnInhibit", [](const std::uint32_t& cookie) {
            if (cookie != 0xBEEF) {
                throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "no such cookie");
            }
        });
        screenSaver_->finishRegistration();
        serve(*manager_, kManager, "Inhibit",
              [this](const Text& what, const Text&, const Text&, const Text& mode) {
                  EXPECT_EQ(what + " " + mode, "sleep delay");
                  auto ends = host::makePipe().value();
                  inhibitor_ = std::move(ends.readEnd);
                  ++inhibitorsTaken;
                  return sdbus::UnixFd(ends.writeEnd.get());
              });
        manager_->registerSignal("PrepareForSleep").onInterface(kManager).withParameters<bool>();
        manager_->finishRegistration();
        program_.serve({kScreenSaver, "org.freedesktop.login1"});
    }

    void prepareForSleep(bool goesToSleep) {
        manager_->emitSignal("PrepareForSleep").onInterface(kManager).withArguments(goesToSleep);
    }

    /// Returns true if the latest inhibitor has been released. Not while one is being taken.
    bool inhibitorReleased() const {
        pollfd end{inhibitor_.get(), POLLIN, 0};
        return poll(&end, 1, 0) == 1;
    }

    std::atomic<int> inhibitorsTaken = 0;
    std::string calls; // of the screen saver

private:
    static constexpr const char* kScreenSaver = "org.freedesktop.ScreenSaver";
    static constexpr const char* kManager = "org.freedesktop.login1.Manager";

    Kvs::FileDescriptor inhibitor_;
    BusProgram program_;
    std::unique_ptr<sdbus::IObject> screenSaver_ = program_.makeObject("/org/freedesktop/ScreenSaver");
    std::unique_ptr<sdbus::IObject> manager_ = program_.makeObject("/org/freedesktop/login1");
};

class LinuxPowerManagement : public testing::Test {
protected:
    bool registerForPower() {
        return power_.registerForSystemPower([this](std::uint32_t message, std::intptr_t argument) {
            messages_.push_back(message);
            argument_ = argument;
        });
    }
    std::int32_t declareActivity() {
        PowerManagement::AssertionId id = 0;
        return power_.declareUserActivity("name", PowerManagement::UserActivity::Local, id);
    }

    PrivateBus bus_;
    host::LinuxPowerManagement power_{bus_.loop()};
    std::vector<std::uint32_t> messages_;
    std::intptr_t argument_ = 0;
};

TEST_F(LinuxPowerManagement, UsesTheScreenSaver) {
    bus_.start();
    FakeServices services;
    EXPECT_EQ(declareActivity(), 0);
    PowerManagement::AssertionId id = 0;
    EXPECT_EQ(power_.preventIdleDisplaySleep("Remote desktop session running", id), 0);
    EXPECT_EQ(id, 0xBEEFU);
    EXPECT_EQ(services.calls, "activity; KvnGUIAgent: Remote desktop session running");
    EXPECT_EQ(power_.releaseAssertion(id + 1), EIO);
    EXPECT_EQ(power_.releaseAssertion(id), 0);
}

TEST_F(LinuxPowerManagement, IsNotDisturbedBySignals) {
    bus_.start();
    FakeServices services;
    int signals = 0;
    const auto registration = bus_.loop().onSignal(SIGUSR1, [&] { ++signals; });
    std::atomic<bool> done = false;
    std::thread storm([&done, main = pthread_self()] {
        while (!done) {
            pthread_kill(main, SIGUSR1);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(declareActivity(), 0);
    }
    EXPECT_TRUE(registerForPower());
    done = true;
    storm.join();
    EXPECT_TRUE(pumpUntil(bus_.loop(), [&] { return signals != 0; }));
}

TEST_F(LinuxPowerManagement, DelaysTheSleepUntilItIsAllowed) {
    bus_.start();
    FakeServices services;
    ASSERT_TRUE(registerForPower());
    EXPECT_EQ(services.inhibitorsTaken, 1);
    for (int round = 1; round <= 2; ++round) {
        messages_.clear();
        services.prepareForSleep(true);
        ASSERT_TRUE(pumpUntil(bus_.loop(), [this] { return !messages_.empty(); }));
        EXPECT_FALSE(services.inhibitorReleased());
        power_.allowPowerChange(argument_ - 1); // an older change
        EXPECT_FALSE(services.inhibitorReleased());
        power_.allowPowerChange(argument_);
        EXPECT_TRUE(waitUntil([&] { return services.inhibitorReleased(); })); // and the service its copy

        services.prepareForSleep(false);
        ASSERT_TRUE(pumpUntil(bus_.loop(), [this] { return messages_.size() == 2; }));
        EXPECT_EQ(messages_, (std::vector<std::uint32_t>{PowerManagement::kSystemWillSleep,
                                                         PowerManagement::kSystemHasPoweredOn}));
        EXPECT_EQ(services.inhibitorsTaken, round + 1);
        EXPECT_FALSE(services.inhibitorReleased());
    }

    int told = 0; // a handler may end its registration
    ASSERT_TRUE(power_.registerForSystemPower([&](std::uint32_t, std::intptr_t) {
        ++told;
        power_.deregisterForSystemPower();
    }));
    services.prepareForSleep(true);
    services.prepareForSleep(false);
    ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return told != 0 && services.inhibitorReleased(); }));
    EXPECT_EQ(told, 1);
}

TEST_F(LinuxPowerManagement, FailsQuicklyWithoutServices) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(declareActivity(), ENOTCONN);
    EXPECT_FALSE(registerForPower());

    bus_.start(); // a bus without services
    EXPECT_EQ(declareActivity(), ENOTSUP);
    EXPECT_FALSE(registerForPower());
    bus_.freeze(); // the connection stands, but no answer comes
    EXPECT_EQ(declareActivity(), ETIMEDOUT);
    host::LinuxPowerManagement fresh(bus_.loop());
    EXPECT_FALSE(fresh.registerForSystemPower([](std::uint32_t, std::intptr_t) {}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 15s); // the library's: 25, 90
}

TEST_F(LinuxPowerManagement, OutlivesItsBus) {
    CapturedLog log;
    bus_.start();
    {
        FakeServices services;
        ASSERT_TRUE(registerForPower());
        EXPECT_EQ(declareActivity(), 0);
    }
    bus_.stop();
    ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return log.contains("Lost the system bus"); }));
    int rounds = 0; // logged once: the loop does not watch the closed connection any more
    ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return ++rounds >= 3; }));
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(declareActivity(), ENOTCONN);
    EXPECT_EQ(power_.deregisterForSystemPower(), 0);

    bus_.start();
    FakeServices services;
    EXPECT_EQ(declareActivity(), 0);
    EXPECT_TRUE(registerForPower());
}

TEST(LinuxWorkspace, DelaysASleepUntilItsObserverReturns) {
    PrivateBus bus;
    bus.start();
    FakeServices services;
    host::PollMainLoop unused;
    host::PosixProcessRunner runner(unused);
    host::LinuxWorkspace workspace(bus.loop(), runner);
    std::vector<Event> events;
    host::MainLoop::Handle observer;
    observer = workspace.observe([&](Event event) {
        events.push_back(event);
        EXPECT_FALSE(services.inhibitorReleased());
        if (events.size() == 3) {
            observer.reset();
        }
    });
    for (const bool goesToSleep : {true, false, true}) {
        const auto count = events.size() + 1;
        services.prepareForSleep(goesToSleep);
        ASSERT_TRUE(pumpUntil(bus.loop(), [&] { return events.size() == count; }));
        EXPECT_TRUE(waitUntil([&] { return services.inhibitorReleased() == goesToSleep; }));
    }
    EXPECT_EQ(events, (std::vector{Event::WillSleep, Event::DidWake, Event::WillSleep}));
    EXPECT_EQ(services.inhibitorsTaken, 2);
}

TEST(LinuxWorkspace, OpensLinksAndFoldersWithTheOpenerInThePath) {
    const TemporaryFolder folder;
    const std::string formerPath = std::getenv("PATH");
    setenv("PATH", ("relative::" + folder.path()).c_str(), 1);
    CapturedLog log;
    host::PollMainLoop loop;
    host::PosixProcessRunner runner(loop);
    host::LinuxWorkspace workspace(loop, runner);
    const auto codeOf = [&](const auto& attempt) { // 0 on success
        std::optional<int> code;
        attempt([&](const std::optional<host::Error>& error) { code = error ? error->code : 0; });
        EXPECT_FALSE(code); // completes later, in the loop
        EXPECT_TRUE(pumpUntil(loop, [&] { return code.has_value(); }));
        return code;
    };
    EXPECT_EQ(codeOf([&](auto done) { workspace.openUrl("scheme:x?y", done); }), ENOENT);
    EXPECT_EQ(codeOf([&](auto done) { workspace.openFolder("/a folder", done); }), ENOENT);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(codeOf([&](auto done) { workspace.launchApplication(folder.file("none"), {}, done); }), ENOENT);

    writeFile(folder.file("xdg-open"), "#!/bin/sh\nprintf '%s|' \"$@\" >>" + folder.file("opened") + "\n");
    fs::permissions(folder.file("xdg-open"), fs::perms::owner_all);
    EXPECT_EQ(codeOf([&](auto done) { workspace.openFolder("/a folder", done); }), 0);
    EXPECT_TRUE(pumpUntil(loop, [&] { return readFile(folder.file("opened")) == "/a folder|"; }));
    setenv("PATH", formerPath.c_str(), 1);
}

} // namespace
} // namespace kvn::test
