// SPDX-License-Identifier: MIT

#include "host/macos/MacPowerManagement.h"

#include "core/logging/CNSLog.h"
#include "host/macos/Conversions.h"

#import <IOKit/IOMessage.h>
#import <IOKit/pwr_mgt/IOPMLib.h>
#include <utility>

namespace kvn::host {

static_assert(PowerManagement::kCanSystemSleep == kIOMessageCanSystemSleep);
static_assert(PowerManagement::kSystemWillSleep == kIOMessageSystemWillSleep);
static_assert(PowerManagement::kSystemHasPoweredOn == kIOMessageSystemHasPoweredOn);
static_assert(PowerManagement::kSystemWillPowerOn == kIOMessageSystemWillPowerOn);

struct MacPowerManagement::Receiver : std::enable_shared_from_this<Receiver> {
    Receiver(MainLoop& l, MessageHandler h) : loop(l), handler(std::move(h)) {}

    /// Passes a message on by a task, because the handler may end the registration that is in use here.
    static void receive(void* receiver, io_service_t, std::uint32_t message, void* argument) {
        auto* const self = static_cast<Receiver*>(receiver);
        self->loop.post([weak = self->weak_from_this(), message, argument] {
            if (const auto alive = weak.lock()) {
                alive->handler(message, reinterpret_cast<std::intptr_t>(argument));
            }
        });
    }

    MainLoop& loop;
    const MessageHandler handler;
};

std::int32_t MacPowerManagement::declareUserActivity(const std::string& name, UserActivity kind,
                                                     AssertionId& id) {
    @autoreleasepool {
        const IOPMUserActiveType type =
            kind == UserActivity::Local ? kIOPMUserActiveLocal : kIOPMUserActiveRemote;
        return IOPMAssertionDeclareUserActivity((__bridge CFStringRef)nsString(name), type, &id);
    }
}

std::int32_t MacPowerManagement::preventIdleDisplaySleep(const std::string& name, AssertionId& id) {
    return IOPMAssertionCreateWithName(kIOPMAssertionTypePreventUserIdleDisplaySleep, kIOPMAssertionLevelOn,
                                       (__bridge CFStringRef)nsString(name), &id);
}

std::int32_t MacPowerManagement::releaseAssertion(AssertionId id) { return IOPMAssertionRelease(id); }

bool MacPowerManagement::registerForSystemPower(MessageHandler handler) {
    deregisterForSystemPower();
    auto receiver = std::make_shared<Receiver>(mainLoop_, std::move(handler));
    power_ = IORegisterForSystemPower(receiver.get(), &port_, &Receiver::receive, &notifier_);
    if (power_ == MACH_PORT_NULL) {
        return false;
    }
    receiver_ = std::move(receiver);
    IONotificationPortSetDispatchQueue(port_, dispatch_get_main_queue());
    return true;
}

std::int32_t MacPowerManagement::deregisterForSystemPower() {
    if (!receiver_) {
        return 0;
    }
    // The calls of the receiver and this one are made on the main thread: none is in progress, and without
    // the port none follows.
    const IOReturn result = IODeregisterForSystemPower(&notifier_);
    IOServiceClose(std::exchange(power_, MACH_PORT_NULL)); // an answer that comes later fails
    IONotificationPortDestroy(port_);
    receiver_.reset();
    return result;
}

void MacPowerManagement::allowPowerChange(std::intptr_t argument) {
    if (const IOReturn result = IOAllowPowerChange(power_, argument)) {
        Kvs::CNSLog("IOAllowPowerChange failed: %x", static_cast<unsigned>(result));
    }
}

void MacPowerManagement::cancelPowerChange(std::intptr_t argument) {
    if (const IOReturn result = IOCancelPowerChange(power_, argument)) {
        Kvs::CNSLog("IOCancelPowerChange failed: %x", static_cast<unsigned>(result));
    }
}

} // namespace kvn::host
