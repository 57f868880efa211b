// SPDX-License-Identifier: MIT

#include "host/desktop/AccessibilityWatch.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

#include <atomic>

namespace kvn::test {
namespace {

constexpr const char* kService = "org.a11y.Bus";
constexpr const char* kPath = "/org/a11y/bus";
constexpr const char* kStatus = "org.a11y.Status";

/// A service of accessibility, which is off.
class FakeAccessibility {
public:
    FakeAccessibility() {
        for (const char* name : {"IsEnabled", "ScreenReaderEnabled"}) {
            program_.property(kPath, kStatus, name,
                              [this, property = std::string(name)] { return property == on_.load(); });
        }
    }
    void serve() { program_.serve({kService}); }
    void switchOn(const char* property, bool tells = true) {
        on_ = property;
        if (tells) {
            program_.object(kPath).emitPropertiesChangedSignal(kStatus, {property});
        }
    }

private:
    std::atomic<const char*> on_ = "";
    BusProgram program_;
};

struct Switch {
    const char* property;
    bool beforeService;
    bool beforeWatch;
};

class AccessibilityWatch : public testing::TestWithParam<Switch> {};

TEST_P(AccessibilityWatch, TellsOfTheSwitchOnceAndStartsNoService) {
    const auto& [property, beforeService, beforeWatch] = GetParam();
    const TemporaryFolder folder;
    const CapturedLog log;
    PrivateBus bus(false);
    bus.addService(kService, "/usr/bin/touch " + folder.file("started"));
    bus.start();
    std::optional<FakeAccessibility> service(std::in_place);
    int told = 0;
    std::optional<host::AccessibilityWatch> watch;
    const auto isAnswered = [&] { // what comes after the answers to the watch
        bool answered = false;
        const auto ping = bus.connection()->call(
            {"org.freedesktop.DBus", "/", "org.freedesktop.DBus.Peer", "Ping"},
            [&](sd_bus_message*) { answered = true; }, "");
        return pumpUntil(bus.loop(), [&] { return answered; });
    };
    if (beforeService) {
        service->switchOn(property, false);
    }
    if (beforeWatch) {
        service->serve();
    }
    watch.emplace(bus.connection(), [&] { ++told; });
    ASSERT_TRUE(bus.isConnectedSoon());
    if (!beforeWatch) {
        ASSERT_TRUE(isAnswered());
        EXPECT_EQ(told, 0);
        service->serve();
    }
    if (!beforeService) {
        ASSERT_TRUE(isAnswered());
        EXPECT_EQ(told, 0);
        service->switchOn(property);
    }
    EXPECT_TRUE(pumpUntil(bus.loop(), [&] { return told > 0; }));
    service->switchOn("", false);
    service->switchOn(property);
    service.reset();
    ASSERT_TRUE(isAnswered());
    EXPECT_EQ(told, 1);
    EXPECT_FALSE(fs::exists(folder.file("started")));
    EXPECT_THAT(log.linesWith("Get on the session bus"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Switches, AccessibilityWatch,
                         testing::Values(Switch{"IsEnabled", true, true},
                                         Switch{"ScreenReaderEnabled", true, true},
                                         Switch{"ScreenReaderEnabled", true, false},
                                         Switch{"IsEnabled", false, true},
                                         Switch{"IsEnabled", false, false}));

} // namespace
} // namespace kvn::test
