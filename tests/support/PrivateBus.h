#pragma once

#include "host/linux/BusConnection.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/Signals.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>
#include <string>
#include <thread>

namespace kvn::test {

/// A message bus of the test, which serves as the session's and the system's.
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

/// Another program on the private bus, which answers on its own thread until it or the bus ends.
class BusProgram {
public:
    BusProgram() = default;
    ~BusProgram() {
        connection_->leaveEventLoop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    BusProgram(const BusProgram&) = delete;
    BusProgram& operator=(const BusProgram&) = delete;

    std::unique_ptr<sdbus::IObject> makeObject(const std::string& path) {
        return sdbus::createObject(*connection_, path);
    }

    /// Takes the names and begins to answer. After its objects were made.
    void serve(std::initializer_list<std::string> names) {
        for (const std::string& name : names) {
            connection_->requestName(name);
        }
        thread_ = std::thread([this] {
            try {
                connection_->enterEventLoop();
            } catch (const sdbus::Error&) { // the bus has gone
            }
        });
        blocked_.reset();
    }

private:
    std::optional<host::SignalsBlocked> blocked_{std::in_place}; // until the thread has started
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnection();
    std::thread thread_;
};

} // namespace kvn::test
