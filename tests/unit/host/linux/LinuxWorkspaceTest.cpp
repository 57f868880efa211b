#include "host/linux/LinuxWorkspace.h"
#include "host/terminal/PlayedMachine.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/host/linux/FakeServices.h"

#include <cerrno>

namespace kvn::test {
namespace {

using Event = host::Workspace::Event;

TEST(LinuxWorkspace, HoldsASleepUpUntilItsObserverReturns) {
    PrivateBus bus;
    CapturedLog log;
    host::PollMainLoop unused;
    host::PosixProcessRunner runner(unused);
    host::LinuxWorkspace machine(bus.loop(), runner);
    host::PlayedWorkspace workspace(machine);
    EXPECT_TRUE(workspace.observe([](Event) {}));
    EXPECT_TRUE(log.contains("Sleep and wake are not announced"));
    EXPECT_FALSE(workspace.announce(Event::WillSleep)); // nobody observes any more

    bus.start();
    FakeServices services;
    std::vector<Event> events;
    host::MainLoop::Handle observer;
    observer = workspace.observe([&](Event event) {
        events.push_back(event);
        EXPECT_FALSE(services.inhibitorReleased());
        if (events.size() == 4) {
            observer.reset();
        }
    });
    EXPECT_TRUE(workspace.announce(Event::DidWake));
    for (const bool goesToSleep : {true, false, true}) {
        const auto count = events.size() + 1;
        services.prepareForSleep(goesToSleep);
        ASSERT_TRUE(pumpUntil(bus.loop(), [&] { return events.size() == count; }));
        EXPECT_TRUE(waitUntil([&] { return services.inhibitorReleased() == goesToSleep; }));
    }
    EXPECT_EQ(events, (std::vector{Event::DidWake, Event::WillSleep, Event::DidWake, Event::WillSleep}));
    EXPECT_EQ(services.inhibitorsTaken, 2);
}

TEST(LinuxWorkspace, OpensThingsWithTheMachinesOpener) {
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
    std::filesystem::permissions(folder.file("xdg-open"), std::filesystem::perms::owner_all);
    EXPECT_EQ(codeOf([&](auto done) { workspace.openFolder("/a folder", done); }), 0);
    EXPECT_TRUE(pumpUntil(loop, [&] { return readFile(folder.file("opened")) == "/a folder|"; }));
    setenv("PATH", formerPath.c_str(), 1);
}

} // namespace
} // namespace kvn::test
