#pragma once

#include "core/system/FileDescriptor.h"
#include "tests/support/PrivateBus.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <sdbus-c++/IObject.h>
#include <string>
#include <unistd.h>

namespace kvn::test {

/// The services that the desktop and logind offer.
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
        program_.serve({"org.freedesktop.ScreenSaver", "org.freedesktop.login1"});
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

    std::optional<Kvs::FileDescriptor> inhibitor_;
    BusProgram program_;
    std::unique_ptr<sdbus::IObject> screenSaver_ =
        sdbus::createObject(program_.connection(), "/org/freedesktop/ScreenSaver");
    std::unique_ptr<sdbus::IObject> manager_ =
        sdbus::createObject(program_.connection(), "/org/freedesktop/login1");
};

} // namespace kvn::test
