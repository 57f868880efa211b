// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/BusConnection.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/Signals.h"
#include "tests/support/PumpUntil.h"
#include "tests/support/Test.h"

#include <future>
#include <initializer_list>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>

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
            fs::remove(folder_.file("bus"));
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
    ~BusProgram() { connection_->leaveEventLoop(); }
    BusProgram(const BusProgram&) = delete;
    BusProgram& operator=(const BusProgram&) = delete;

    std::unique_ptr<sdbus::IObject> makeObject(const std::string& path) {
        return sdbus::createObject(*connection_, path);
    }

    /// Takes the names and begins to answer. After its objects were made.
    void serve(std::initializer_list<std::string> names) {
        std::for_each(names.begin(), names.end(),
                      [this](const auto& name) { connection_->requestName(name); });
        loop_ = std::async(std::launch::async, &sdbus::IConnection::enterEventLoop, connection_.get());
        blocked_.reset();
    }

private:
    std::optional<host::SignalsBlocked> blocked_{std::in_place}; // until the thread has started
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnection();
    std::future<void> loop_; // keeps the error that the loop ends with when the bus goes
};

} // namespace kvn::test
