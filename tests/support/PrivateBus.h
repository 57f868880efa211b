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
#include <mutex>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>
#include <sdbus-c++/IProxy.h>

namespace kvn::test {

/// A message bus of the test, which serves as the session's and the system's.
class PrivateBus {
public:
    explicit PrivateBus(bool started = true) {
        const std::string address = "unix:path=" + folder_.file("bus");
        setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
        if (started) {
            start();
        }
    }
    ~PrivateBus() { stop(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    void start() {
        writeFile(
            folder_.file("bus.conf"),
            "<busconfig><type>session</type><listen>unix:path=" + folder_.file("bus") +
                "</listen><servicedir>" + folder_.file("services") +
                "</servicedir><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
        const auto result =
            runner_.launch("/usr/bin/dbus-daemon", {"--nofork", "--config-file=" + folder_.file("bus.conf")});
        ASSERT_TRUE(std::holds_alternative<pid_t>(result)) << "the dbus package is missing";
        pid_ = std::get<pid_t>(result);
        ASSERT_TRUE(pumpUntil(loop_, [] {
            const host::SignalsBlocked blocked; // the library takes an interrupted call for a failed one
            try {
                return sdbus::createSessionBusConnection() != nullptr;
            } catch (const sdbus::Error&) {
                return false;
            }
        }));
    }
    void stop() {
        if (pid_ != 0) {
            kill(pid_, SIGKILL);
            pid_ = 0;
            fs::remove(folder_.file("bus"));
        }
    }

    /// The bus starts this program for a service. Before `start`.
    void addService(const std::string& name, const std::string& command) {
        fs::create_directories(folder_.file("services"));
        writeFile(folder_.file("services/" + name + ".service"),
                  "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
    }

    host::PollMainLoop& loop() { return loop_; }
    const std::shared_ptr<host::BusConnection>& connection() const { return connection_; }
    [[nodiscard]] bool isConnectedSoon() {
        return pumpUntil(loop_, [this] { return connection_->isConnected(); });
    }

private:
    TemporaryFolder folder_;
    host::PollMainLoop loop_;
    // Of the session; it serves for the system's as well.
    std::shared_ptr<host::BusConnection> connection_ =
        std::make_shared<host::BusConnection>(loop_, host::BusConnection::Bus::Session);
    host::PosixProcessRunner runner_{loop_};
    pid_t pid_ = 0;
};

/// Another program on the private bus, which answers on its own thread until it or the bus ends. It may use
/// what is declared before it.
class BusProgram {
public:
    BusProgram() = default;
    ~BusProgram() { connection_->leaveEventLoop(); }
    BusProgram(const BusProgram&) = delete;
    BusProgram& operator=(const BusProgram&) = delete;

    sdbus::IObject& object(const std::string& path) {
        auto& object = objects_[path];
        if (!object) {
            object = sdbus::createObject(*connection_, path);
        }
        return *object;
    }
    template <class Body>
    void method(const std::string& path, const std::string& interface, const char* name, Body body) {
        object(path).registerMethod(name).onInterface(interface).implementedAs(std::move(body));
    }
    template <class Getter>
    void property(const std::string& path, const std::string& interface, const char* name, Getter getter) {
        object(path).registerProperty(name).onInterface(interface).withGetter(std::move(getter));
    }

    /// Takes the names and begins to answer. After its objects were described.
    void serve(std::initializer_list<std::string> names) {
        for (const auto& [path, object] : objects_) {
            object->finishRegistration();
        }
        std::for_each(names.begin(), names.end(),
                      [this](const auto& name) { connection_->requestName(name); });
        loop_ = std::async(std::launch::async, &sdbus::IConnection::enterEventLoop, connection_.get());
        blocked_.reset();
    }

    /// Sends a signal to one program, or to all that listen if the receiver is empty. Any thread.
    template <class... Arguments>
    void emit(const std::string& receiver, const std::string& path, const std::string& interface,
              const std::string& member, const Arguments&... arguments) {
        const auto object = sdbus::createObject(*connection_, path);
        auto signal = object->createSignal(interface, member);
        static_cast<void>((static_cast<sdbus::Message&>(signal) << ... << arguments));
        if (!receiver.empty()) {
            signal.setDestination(receiver);
        }
        object->emitSignal(signal);
    }

    /// Keeps what the methods tell. Any thread.
    void note(std::string text) {
        const std::lock_guard guard(lock_);
        notes_.push_back(std::move(text));
    }
    std::vector<std::string> notes() const {
        const std::lock_guard guard(lock_);
        return notes_;
    }

private:
    std::optional<host::SignalsBlocked> blocked_{std::in_place}; // until the thread has started
    mutable std::mutex lock_;
    std::vector<std::string> notes_;
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnection();
    std::map<std::string, std::unique_ptr<sdbus::IObject>> objects_;
    std::future<void> loop_; // keeps the error that the loop ends with when the bus goes
};

/// Sends the signal to each program on the private bus alone, which gets it whatever it listens to.
template <class... Arguments>
void emitToEach(const std::string& path, const std::string& interface, const std::string& member,
                const Arguments&... arguments) {
    BusProgram stranger;
    std::vector<std::string> names;
    const auto connection = sdbus::createSessionBusConnection();
    sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus")
        ->callMethod("ListNames")
        .onInterface("org.freedesktop.DBus")
        .storeResultsTo(names);
    for (const auto& name : names) {
        stranger.emit(name, path, interface, member, arguments...);
    }
}

} // namespace kvn::test
