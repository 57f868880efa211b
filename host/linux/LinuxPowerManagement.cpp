// SPDX-License-Identifier: MIT

#include "host/linux/LinuxPowerManagement.h"

#include "host/linux/LogindSleep.h"

#include <utility>

namespace kvn::host {

LinuxPowerManagement::LinuxPowerManagement(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                                           std::shared_ptr<BusConnection> systemBus)
    : mainLoop_(mainLoop), systemBus_(std::move(systemBus)), screenSaver_(mainLoop, std::move(sessionBus)) {}
LinuxPowerManagement::~LinuxPowerManagement() = default;

std::int32_t LinuxPowerManagement::declareUserActivity(const std::string&, UserActivity, AssertionId& id) {
    id = 0;
    return screenSaver_.simulateUserActivity();
}

std::int32_t LinuxPowerManagement::preventIdleDisplaySleep(const std::string& name, AssertionId& id) {
    return screenSaver_.inhibit("KvnGUIAgent", name, id);
}

std::int32_t LinuxPowerManagement::releaseAssertion(AssertionId id) { return screenSaver_.unInhibit(id); }

bool LinuxPowerManagement::registerForSystemPower(MessageHandler handler) {
    sleep_ =
        LogindSleep::start(mainLoop_, systemBus_, [this, handler = std::move(handler)](bool goesToSleep) {
            if (goesToSleep) {
                handler(kSystemWillSleep, ++change_);
            } else {
                handler(kSystemHasPoweredOn, 0);
            }
        });
    return true;
}

std::int32_t LinuxPowerManagement::deregisterForSystemPower() {
    sleep_.reset();
    return 0;
}

void LinuxPowerManagement::allowPowerChange(std::intptr_t argument) {
    if (sleep_ && argument == change_) {
        sleep_->letSleep();
    }
}

void LinuxPowerManagement::cancelPowerChange(std::intptr_t) {}

} // namespace kvn::host
