// SPDX-License-Identifier: MIT

#include "host/linux/LinuxPowerManagement.h"
#include "host/linux/LinuxWorkspace.h"
#include "host/posix/SpawnPlan.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Test.h"

#include <mutex>

namespace kvn::test {
namespace {

using host::PowerManagement;
using Event = host::Workspace::Event;

constexpr const char* kLogind = "/org/freedesktop/login1";
constexpr const char* kManager = "org.freedesktop.login1.Manager";

/// The services that the desktop and logind offer. Notes the calls of the screen saver.
class FakeServices {
public:
    FakeServices() {
        using Text = std::string;
        const Text screenSaver = "org.freedesktop.ScreenSaver";
        const auto serve = [&](const char* name, auto body) {
            program_.method("/org/freedesktop/ScreenSaver", screenSaver, name, body);
        };
        serve("SimulateUserActivity", [this] { program_.note("activity"); });
        serve("Inhibit", [this](const Text& program, const Text& why) {
            program_.note(program + ": " + why);
            return std::uint32_t{4711};
        });
        serve("UnInhibit",
              [this](const std::uint32_t& cookie) { program_.note("end " + std::to_string(cookie)); });
        program_.method(kLogind, kManager, "Inhibit",
                        [this](const Text& what, const Text&, const Text&, const Text& mode) {
                            EXPECT_EQ(what + " " + mode, "sleep delay");
                            auto ends = host::makePipe().value();
                            const std::lock_guard guard(lock_);
                            inhibitor_ = std::move(ends.readEnd);
                            ++inhibitorsTaken;
                            return sdbus::UnixFd(ends.writeEnd.get());
                        });
        program_.serve({screenSaver, "org.freedesktop.login1"});
    }

    void prepareForSleep(bool goesToSleep) {
        program_.emit("", kLogind, kManager, "PrepareForSleep", goesToSleep);
    }

    /// Returns true if the latest inhibitor has been released.
    bool inhibitorReleased() const {
        const std::lock_guard guard(lock_);
        pollfd end{inhibitor_.get(), POLLIN, 0};
        return poll(&end, 1, 0) == 1;
    }
    std::vector<std::string> calls() const { return program_.notes(); }

    std::atomic<int> inhibitorsTaken = 0;

private:
    mutable std::mutex lock_;
    Kvs::FileDescriptor inhibitor_;
    BusProgram program_;
};

class LinuxPower : public testing::Test {
protected:
    void observe() {
        observer_ = workspace_.observe([this](Event event) { events_.push_back(event); });
    }
    std::int32_t declareActivity() {
        PowerManagement::AssertionId id = 0;
        return power_.declareUserActivity("name", PowerManagement::UserActivity::Local, id);
    }
    template <class Condition>
    [[nodiscard]] bool soon(Condition condition) {
        return pumpUntil(bus_.loop(), condition);
    }

    PrivateBus bus_;
    host::PollMainLoop unused_;
    host::PosixProcessRunner runner_{unused_};
    host::LinuxPowerManagement power_{bus_.loop(), bus_.connection(), bus_.connection()};
    host::LinuxWorkspace workspace_{bus_.loop(), runner_, bus_.connection(), bus_.connection()};
    std::vector<Event> events_;
    host::MainLoop::Handle observer_;
};

TEST_F(LinuxPower, UsesTheScreenSaver) {
    const CapturedLog log;
    const char* const reason = "Remote desktop session running";
    const std::string inhibited = std::string("KvnGUIAgent: ") + reason;
    PowerManagement::AssertionId id = 7;
    EXPECT_EQ(declareActivity(), ENOTCONN); // not yet
    EXPECT_EQ(power_.preventIdleDisplaySleep(reason, id), ENOTCONN);
    EXPECT_EQ(id, 0U);

    ASSERT_TRUE(bus_.isConnectedSoon()); // without services: what is refused is logged once
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(declareActivity(), 0);
        EXPECT_EQ(power_.preventIdleDisplaySleep(reason, id), 0);
        EXPECT_TRUE(soon([&] { return log.lines().size() == 2; })); // one for each of the two services
        EXPECT_EQ(power_.releaseAssertion(id), 0);
    }

    FakeServices services;
    std::thread reader([this] { // any thread; not asked again before the answer
        for (int i = 0; i < 40; ++i) {
            EXPECT_EQ(declareActivity(), 0);
        }
    });
    reader.join();
    // The reader may have come before the refusal of the last activity, and then asked for nothing.
    EXPECT_TRUE(soon([&] { return services.calls().size() == 1 || (declareActivity(), false); }));
    EXPECT_EQ(power_.preventIdleDisplaySleep(reason, id), 0);
    EXPECT_EQ(power_.releaseAssertion(id + 1), EINVAL);
    EXPECT_EQ(power_.releaseAssertion(id), 0); // before the answer
    EXPECT_EQ(power_.releaseAssertion(id), 0);
    EXPECT_TRUE(soon([&] { return services.calls().size() == 3; }));
    EXPECT_EQ(power_.releaseAssertion(id), EINVAL);
    EXPECT_THAT(services.calls(), ElementsAre("activity", inhibited, "end 4711"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(LinuxPower, BelievesLogindAlone) {
    FakeServices services;
    observe();
    ASSERT_TRUE(soon([&] { return services.inhibitorsTaken == 1; }));
    emitToEach(kLogind, kManager, "PrepareForSleep", true);
    BusProgram().emit("", kLogind, kManager, "PrepareForSleep", true);
    services.prepareForSleep(false);
    ASSERT_TRUE(soon([this] { return !events_.empty(); }));
    EXPECT_EQ(events_.front(), Event::DidWake);
}

TEST_F(LinuxPower, OutlivesItsBus) {
    const CapturedLog log;
    PowerManagement::AssertionId id = 0;
    observe();
    for (std::size_t round = 1; round <= 2; ++round) {
        FakeServices services;
        ASSERT_TRUE(bus_.isConnectedSoon());
        if (round == 1) {
            EXPECT_EQ(power_.preventIdleDisplaySleep("reason", id), 0);
        }
        ASSERT_TRUE(soon([&] { return services.inhibitorsTaken == 1 && services.calls().size() == 1; }));
        if (round == 1) {
            bus_.stop();
            ASSERT_TRUE(soon([&] { return declareActivity() == ENOTCONN; }));
            bus_.start();
        } else {
            services.prepareForSleep(true);
            ASSERT_TRUE(soon([this] { return !events_.empty(); }));
            EXPECT_EQ(power_.releaseAssertion(id), 0);
            EXPECT_TRUE(soon([&] { return services.calls().size() == 2; }));
        }
    }
}

TEST_F(LinuxPower, ASleepIsDelayedUntilTheObserverReturns) {
    FakeServices services;
    observer_ = workspace_.observe([&](Event event) {
        events_.push_back(event);
        EXPECT_TRUE(event == Event::DidWake || !services.inhibitorReleased());
        if (events_.size() == 3) {
            observer_.reset();
        }
    });
    int taken = 1;
    for (const bool goesToSleep : {true, false, true}) {
        ASSERT_TRUE(soon([&] { return services.inhibitorsTaken == taken; }));
        const auto count = events_.size() + 1;
        services.prepareForSleep(goesToSleep);
        ASSERT_TRUE(soon([&] { return events_.size() == count; }));
        EXPECT_TRUE(waitUntil([&] { return services.inhibitorReleased() == goesToSleep; }));
        taken += goesToSleep ? 0 : 1;
    }
    EXPECT_THAT(events_, ElementsAre(Event::WillSleep, Event::DidWake, Event::WillSleep));
    EXPECT_EQ(services.inhibitorsTaken, 2);
}

TEST(LinuxWorkspace, OpensLinksAndFoldersWithTheOpenerInThePath) {
    const TemporaryFolder folder;
    const std::string formerPath = std::getenv("PATH");
    setenv("PATH", ("relative::" + folder.path()).c_str(), 1);
    CapturedLog log;
    host::PollMainLoop loop;
    host::PosixProcessRunner runner(loop);
    const auto bus = std::make_shared<host::BusConnection>(loop, host::BusConnection::Bus::System);
    host::LinuxWorkspace workspace(loop, runner, bus, bus);
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
