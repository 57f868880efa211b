#include "host/linux/LinuxPowerManagement.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/host/linux/FakeServices.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>

namespace kvn::test {
namespace {

using host::PowerManagement;

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
    std::thread reader([this] { EXPECT_EQ(declareActivity(), 0); });
    EXPECT_EQ(declareActivity(), 0);
    reader.join();
    EXPECT_EQ(services.activities, 2);

    PowerManagement::AssertionId id = 0;
    EXPECT_EQ(power_.preventIdleDisplaySleep("Remote desktop session running", id), 0);
    EXPECT_EQ(id, 0xBEEFU);
    EXPECT_EQ(services.inhibitions, "KvnGUIAgent: Remote desktop session running");
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
        EXPECT_TRUE(
            waitUntil([&] { return services.inhibitorReleased(); })); // the service drops its copy, too

        services.prepareForSleep(false);
        ASSERT_TRUE(pumpUntil(bus_.loop(), [this] { return messages_.size() == 2; }));
        EXPECT_EQ(messages_, (std::vector<std::uint32_t>{PowerManagement::kSystemWillSleep,
                                                         PowerManagement::kSystemHasPoweredOn}));
        EXPECT_EQ(services.inhibitorsTaken, round + 1);
        EXPECT_FALSE(services.inhibitorReleased());
    }
    EXPECT_EQ(power_.deregisterForSystemPower(), 0);
    EXPECT_TRUE(waitUntil([&] { return services.inhibitorReleased(); })); // the service drops its copy, too
}

TEST_F(LinuxPowerManagement, MayBeDeregisteredByItsHandler) {
    bus_.start();
    FakeServices services;
    int told = 0;
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

    bus_.start(); // a bus, with nobody on it
    EXPECT_EQ(declareActivity(), ENOTSUP);
    EXPECT_FALSE(registerForPower());
    bus_.freeze(); // the connection stands, but no answer comes
    EXPECT_EQ(declareActivity(), ETIMEDOUT);
    host::LinuxPowerManagement fresh(bus_.loop());
    EXPECT_FALSE(fresh.registerForSystemPower([](std::uint32_t, std::intptr_t) {}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(15)); // the library's limits: 25, 90
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
    // It is told once: the loop, which watches the closed connection no more, comes to rest.
    int rounds = 0;
    ASSERT_TRUE(pumpUntil(bus_.loop(), [&] { return ++rounds >= 3; }));
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(declareActivity(), ENOTCONN);
    EXPECT_EQ(power_.deregisterForSystemPower(), 0);

    bus_.start();
    FakeServices services;
    EXPECT_EQ(declareActivity(), 0);
    EXPECT_TRUE(registerForPower());
}

} // namespace
} // namespace kvn::test
