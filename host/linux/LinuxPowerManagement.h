// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/PowerManagement.h"
#include "host/linux/ScreenSaver.h"

#include <memory>

namespace kvn::host {

class LogindSleep;

/// Uses the interfaces of the screen saver and of logind. Error codes are errno values, ENOTCONN without a
/// bus. logind does not ask if the system may sleep, so `kCanSystemSleep` is never sent and
/// `cancelPowerChange` does nothing. User activity creates no assertion.
class LinuxPowerManagement final : public PowerManagement {
public:
    explicit LinuxPowerManagement(MainLoop& mainLoop);
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
    ScreenSaver screenSaver_;
    std::shared_ptr<LogindSleep> sleep_; // null while not registered
    std::intptr_t change_ = 0;           // names the latest sleep
};

} // namespace kvn::host
