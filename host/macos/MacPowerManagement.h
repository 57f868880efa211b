// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/PowerManagement.h"

#import <IOKit/IOKitLib.h>

namespace kvn::host {

/// The system's power management (IOKit).
class MacPowerManagement final : public PowerManagement {
public:
    explicit MacPowerManagement(MainLoop& mainLoop) : mainLoop_(mainLoop) {}
    ~MacPowerManagement() override { deregisterForSystemPower(); }
    MacPowerManagement(const MacPowerManagement&) = delete;
    MacPowerManagement& operator=(const MacPowerManagement&) = delete;

    std::int32_t declareUserActivity(const std::string& name, UserActivity kind, AssertionId& id) override;
    std::int32_t preventIdleDisplaySleep(const std::string& name, AssertionId& id) override;
    std::int32_t releaseAssertion(AssertionId id) override;
    bool registerForSystemPower(MessageHandler handler) override;
    std::int32_t deregisterForSystemPower() override;
    void allowPowerChange(std::intptr_t argument) override;
    void cancelPowerChange(std::intptr_t argument) override;

private:
    struct Receiver;

    MainLoop& mainLoop_;
    std::shared_ptr<Receiver> receiver_; // null unless registered; so are those below
    io_connect_t power_ = 0;
    io_object_t notifier_ = 0;
    IONotificationPortRef port_ = nullptr;
};

} // namespace kvn::host
