// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/PowerManagement.h"
#include "host/linux/ScreenSaver.h"

#include <memory>

namespace kvn::host {

class LogindSleep;

/// Uses the interfaces of the screen saver and of logind, for whose answers it does not wait: a result of 0
/// means that the request is on its way, and a refusal is logged later. Error codes are errno values,
/// ENOTCONN without a session bus. A registration for power messages always succeeds; they come as long as
/// there is a system bus with a logind. logind does not ask if the system may sleep, so `kCanSystemSleep` is
/// never sent and `cancelPowerChange` does nothing. User activity creates no assertion.
class LinuxPowerManagement final : public PowerManagement {
public:
    /// The main loop outlives this object.
    LinuxPowerManagement(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                         std::shared_ptr<BusConnection> systemBus);
    ~LinuxPowerManagement() override;

    std::int32_t declareUserActivity(const std::string& name, UserActivity kind, AssertionId& id) override;
    std::int32_t preventIdleDisplaySleep(const std::string& name, AssertionId& id) override;
    std::int32_t releaseAssertion(AssertionId id) override;
    bool registerForSystemPower(MessageHandler handler) override;
    std::int32_t deregisterForSystemPower() override;
    void allowPowerChange(std::intptr_t argument) override;
    void cancelPowerChange(std::intptr_t argument) override;

private:
    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> systemBus_;
    ScreenSaver screenSaver_;
    std::shared_ptr<LogindSleep> sleep_; // null while not registered
    std::intptr_t change_ = 0;           // names the latest sleep
};

} // namespace kvn::host
