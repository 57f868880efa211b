#include "host/linux/LinuxPowerManagement.h"
#include "core/system/FileDescriptor.h"
#include "host/linux/BusConnection.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/SignalsBlocked.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>

namespace kvn::test {
namespace {

using host::PowerManagement;

/// A bus of the test's own, which plays both the session's and the system's.
class PrivateBus {
public:
    PrivateBus() {
        const std::string address = "unix:path=" + folder_.file("bus");
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void start() {
        writeFile(
            folder_.file("bus.conf"),
            "<busconfig><type>session</type><listen>unix:path=" + folder_.file("bus") +
                "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
        const auto result =
            runner_.launch("/usr/bin/dbus-daemon", {"--nofork", "--config-file=" + folder_.file("bus.conf")});
        ASSERT_TRUE(std::holds_alternative<pid_t>(result)) << "the dbus package is missing";
        pid_ = std::get<pid_t>(result);
        ASSERT_TRUE(pumpUntil(loop_, [] { return host::connectToBus(host::Bus::Session) != nullptr; }));
    }
    void stop() {
        if (pid_ != 0) {
            kill(pid_, SIGKILL);
            pid_ = 0;
            std::filesystem::remove(folder_.file("bus"));
        }
    }
    void freeze() const { kill(pid_, SIGSTOP); }

    host::PollMainLoop& loop() { return loop_; }

private:
    TemporaryFolder folder_;
    host::PollMainLoop loop_;
    host::PosixProcessRunner runner_{loop_};
    pid_t pid_ = 0;
};

/// The services that the desktop and logind offer, on a connection and thread of their own.
class FakeServices {
public:
    FakeServices() {
        const std::string screenSaver = "org.freedesktop.ScreenSaver";
        screenSaver_->registerMethod("SimulateUserActivity").onInterface(screenSaver).implementedAs([this] {
            ++activities;
        });
        screenSaver_->registerMethod("Inhibit")
            .onInterface(screenSaver)
            .implementedAs([this](const std::string& application, const std::string& reason) {
                inhibitions += application + ": " + reason;
                return std::uint32_t{0xBEEF};
            });
        screenSaver_->registerMethod("UnInhibit")
            .onInterface(screenSaver)
            .implementedAs([](const std::uint32_t& cookie) {
                if (cookie != 0xBEEF) {
                    throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", "no such cookie");
                }
            });
        screenSaver_->finishRegistration();

        manager_->registerMethod("Inhibit").onInterface(kManager).implementedAs(
            [this](const std::string& what, const std::string&, const std::string&, const std::string& mode) {
                EXPECT_EQ(what + " " + mode, "sleep delay");
                int ends[2];
                EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
                inhibitor_.emplace(ends[0]);
                ++inhibitorsTaken;
                return sdbus::UnixFd(ends[1], sdbus::adopt_fd);
            });
        manager_->registerSignal("PrepareForSleep").onInterface(kManager).withParameters<bool>();
        manager_->finishRegistration();
        connection_->requestName("org.freedesktop.ScreenSaver");
        connection_->requestName("org.freedesktop.login1");
        connection_->enterEventLoopAsync();
        blocked_.reset();
    }

    void prepareForSleep(bool goesToSleep) {
        manager_->emitSignal("PrepareForSleep").onInterface(kManager).withArguments(goesToSleep);
    }

    /// Whether nobody holds the latest inhibitor any more. Not while one is being taken.
    bool inhibitorReleased() const {
        pollfd end{inhibitor_->get(), POLLIN, 0};
        return poll(&end, 1, 0) == 1;
    }

    std::atomic<int> activities = 0;
    std::atomic<int> inhibitorsTaken = 0;
    std::string inhibitions;

private:
    static constexpr const char* kManager = "org.freedesktop.login1.Manager";

    std::optional<host::SignalsBlocked> blocked_{std::in_place}; // until the thread has started
    std::optional<Kvs::FileDescriptor> inhibitor_;
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IObject> screenSaver_ =
        sdbus::createObject(*connection_, "/org/freedesktop/ScreenSaver");
    std::unique_ptr<sdbus::IObject> manager_ = sdbus::createObject(*connection_, "/org/freedesktop/login1");
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
