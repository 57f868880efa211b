// SPDX-License-Identifier: MIT

#pragma once

#include "host/ConsoleUser.h"

#include <memory>
#include <string>

namespace sdbus {
class IConnection;
class IProxy;
} // namespace sdbus

namespace kvn::host {

/// Returns the user of the foreground session of the first seat (org.freedesktop.login1 on the system bus); a
/// greeter's session counts as the login window. Connects when it is first used. Without a bus or logind, and
/// once the bus is lost, there is no user and no change; this is logged once. Calls take a few times
/// `kBusTimeLimit` at most.
class LogindConsoleUser final : public ConsoleUser {
public:
    explicit LogindConsoleUser(MainLoop& mainLoop);
    ~LogindConsoleUser() override;
    LogindConsoleUser(const LogindConsoleUser&) = delete;
    LogindConsoleUser& operator=(const LogindConsoleUser&) = delete;

    Owner current() override;
    [[nodiscard]] MainLoop::Handle onChange(MainLoop::Task task) override;

private:
    bool connect();
    Owner askForOwner();
    void receive();
    void postChange();
    void logFailure(const std::string& reason);

    MainLoop& mainLoop_;
    bool connectingTried_ = false;
    bool failureLogged_ = false;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> seat_;
    MainLoop::Handle watch_; // null without a working connection
    std::weak_ptr<MainLoop::Task> observer_;
};

} // namespace kvn::host
