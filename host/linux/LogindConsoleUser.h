// SPDX-License-Identifier: MIT

#pragma once

#include "host/ConsoleUser.h"
#include "host/linux/BusConnection.h"

#include <memory>
#include <string>

namespace kvn::host {

/// Returns the user of the foreground session of the first seat (org.freedesktop.login1 on the system bus); a
/// greeter's session counts as the login window. Follows logind's signals, so that `current` does not wait
/// for an answer. The user is not known before the first answer, which is announced as a change, and without
/// a bus or logind.
class LogindConsoleUser final : public ConsoleUser {
public:
    LogindConsoleUser(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus);
    ~LogindConsoleUser() override = default;
    LogindConsoleUser(const LogindConsoleUser&) = delete;
    LogindConsoleUser& operator=(const LogindConsoleUser&) = delete;

    Owner current() override { return owner_; }
    [[nodiscard]] MainLoop::Handle onChange(MainLoop::Task task) override;

private:
    void takeChange(sd_bus_message& propertiesChanged);
    void askForSession();
    void takeSession(sd_bus_message* answer);
    void askForOwner(const char* session);
    void takeOwner(sd_bus_message* answer);
    void setOwner(Owner owner);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> bus_;
    Owner owner_;
    std::weak_ptr<MainLoop::Task> observer_;
    MainLoop::Handle call_; // for the session, then for its owner
    MainLoop::Handle signals_;
    MainLoop::Handle state_;
};

} // namespace kvn::host
