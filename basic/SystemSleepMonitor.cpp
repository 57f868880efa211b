// SPDX-License-Identifier: MIT

#include "basic/SystemSleepMonitor.h"

#include "core/logging/CNSLog.h"

#include <algorithm>
#include <utility>

namespace kvn {
namespace {

using host::PowerManagement;
using Kvs::CNSDbgLog;
using Kvs::CNSLog;

constexpr std::chrono::milliseconds kNudgeDelay{200};
constexpr std::chrono::seconds kPreventSleepDelay{2};
constexpr std::int32_t kMaxVetoes = 3;

unsigned asHex(std::int32_t code) { return static_cast<unsigned>(code); }

} // namespace

SystemSleepMonitor::SystemSleepMonitor(PowerManagement& power, host::Pointer& pointer,
                                       host::MainLoop& mainLoop)
    : power_(power), pointer_(pointer), mainLoop_(mainLoop) {}

SystemSleepMonitor::~SystemSleepMonitor() {
    if (registered_) {
        power_.deregisterForSystemPower();
    }
}

void SystemSleepMonitor::addObserver(SystemSleepObserver& observer) {
    if (observers_.empty()) {
        registerForIOKitNotifications();
    }
    if (find(&observer) == observers_.end()) {
        observers_.push_back(&observer);
    }
}

void SystemSleepMonitor::removeObserver(SystemSleepObserver& observer) {
    std::erase(observers_, &observer);
    if (observers_.empty()) {
        unregisterForIOKitNotifications();
    }
}

bool SystemSleepMonitor::registerForIOKitNotifications() {
    registered_ =
        power_.registerForSystemPower([this](std::uint32_t messageType, std::intptr_t messageArgument) {
            MySleepCallBack(messageType, messageArgument);
        });
    CNSLog(registered_ ? "IORegisterForSystemPower succeded\n" : "IORegisterForSystemPower failed\n");
    return registered_;
}

void SystemSleepMonitor::unregisterForIOKitNotifications() {
    if (!registered_) {
        return;
    }
    registered_ = false;
    const bool failed = power_.deregisterForSystemPower() != 0;
    CNSLog(failed ? "IODeregisterForSystemPower failed." : "IODeregisterForSystemPower succeded\n");
}

std::int32_t SystemSleepMonitor::declareActivity(const char* name, PowerManagement::UserActivity kind) {
    Kvs::FLockGuard guard(activityLock_);
    const std::int32_t result = power_.declareUserActivity(name, kind, activityAssertionID_);
    if (result != 0) {
        activityAssertionID_ = 0;
        CNSLog("IOPMAssertionDeclareUserActivity failed: %x", asHex(result));
    }
    return result;
}

bool SystemSleepMonitor::declareLocalUserActivity() {
    if (declareActivity("Remote desktop session starting", PowerManagement::UserActivity::Local) != 0) {
        return false;
    }
    CNSLog("IOPMAssertionDeclareUserActivity succeeded");
    return true;
}

std::int32_t SystemSleepMonitor::wakeupDisplayAndPreventSleep() {
    if (declareActivity("Remote desktop session running", PowerManagement::UserActivity::Remote) != 0) {
        return -1;
    }
    CNSLog("Wakeup display: DeclareUserActivity succeeded");
    closeScreenSaver();
    mainLoop_.postAfter(kPreventSleepDelay, [this] { preventDisplaySleep(); });
    return 0;
}

void SystemSleepMonitor::preventDisplaySleep() {
    allowDisplaySleep(); // one assertion at a time
    const std::int32_t result =
        power_.preventIdleDisplaySleep("Remote desktop session running", preventSleepAssertionID_);
    if (result == 0) {
        CNSLog("IOPMAssertPreventUserIdleDisplaySleep succeeded with assertionID: %x",
               preventSleepAssertionID_);
    } else {
        CNSLog("IOPMAssertPreventUserIdleDisplaySleep failed with error: %x", asHex(result));
    }
}

void SystemSleepMonitor::allowDisplaySleep() {
    if (const auto old = std::exchange(preventSleepAssertionID_, 0); old != 0) {
        releasePreventSleepAssertion(old);
    }
}

void SystemSleepMonitor::releasePreventSleepAssertion(PowerManagement::AssertionId assertion) {
    const std::int32_t result = power_.releaseAssertion(assertion);
    if (result == 0) {
        CNSLog("Allowing display to sleep. Succeeded with assertionID: %x", assertion);
    } else {
        CNSLog("Allowing display to sleep. Failed with assertionID: %x, error: %x", assertion, asHex(result));
    }
}

void SystemSleepMonitor::closeScreenSaver() {
    mainLoop_.postAfter(kNudgeDelay, [this] { nudgePointer(); });
}

void SystemSleepMonitor::nudgePointer() {
    const host::Point location = pointer_.location();
    const host::Point position{location.x, pointer_.mainScreenHeight() - location.y};
    pointer_.postMove({position.x + 3, position.y - 2});
    pointer_.postMove(position);
}

std::vector<SystemSleepObserver*>::const_iterator
SystemSleepMonitor::find(const SystemSleepObserver* observer) const {
    return std::find(observers_.begin(), observers_.end(), observer);
}

bool SystemSleepMonitor::canSystemSleep() {
    // A copy, here and below: an observer may remove itself or others while it is called.
    const auto observers = observers_;
    const bool vetoed =
        std::any_of(observers.begin(), observers.end(), [this](SystemSleepObserver* observer) {
            return find(observer) != observers_.end() && !observer->canSystemSleep();
        });
    const bool refused = vetoed && vetoCounter_ < kMaxVetoes;
    vetoCounter_ = refused ? vetoCounter_ + 1 : 0;
    CNSLog("Allowing system to sleep: %s, request: %d", refused ? "no" : "yes", vetoCounter_);
    return !refused;
}

void SystemSleepMonitor::systemWillSleep() {
    CNSLog("System will sleep");
    for (SystemSleepObserver* observer : std::vector(observers_)) {
        if (find(observer) != observers_.end()) {
            observer->systemWillSleep();
        }
    }
}

void SystemSleepMonitor::systemDidWakeup() {
    CNSLog("System did wakeup");
    for (SystemSleepObserver* observer : std::vector(observers_)) {
        if (find(observer) != observers_.end()) {
            observer->systemDidWakeup();
        }
    }
}

void SystemSleepMonitor::MySleepCallBack(std::uint32_t messageType, std::intptr_t messageArgument) {
    switch (messageType) {
    case PowerManagement::kCanSystemSleep:
        if (canSystemSleep()) {
            CNSLog("SystemSleepMonitor: kIOMessageCanSystemSleep allowed");
            power_.allowPowerChange(messageArgument);
        } else {
            CNSLog("SystemSleepMonitor: kIOMessageCanSystemSleep cancelled");
            power_.cancelPowerChange(messageArgument);
        }
        break;
    case PowerManagement::kSystemWillSleep:
        CNSLog("SystemSleepMonitor: kIOMessageSystemWillSleep");
        systemWillSleep();
        power_.allowPowerChange(messageArgument);
        break;
    case PowerManagement::kSystemHasPoweredOn:
        CNSLog("SystemSleepMonitor: kIOMessageSystemHasPoweredOn");
        systemDidWakeup();
        break;
    case PowerManagement::kSystemWillPowerOn:
        CNSDbgLog("SystemSleepMonitor: kIOMessageSystemWillPowerOn");
        break;
    default:
        CNSLog("SystemSleepMonitor: messageType %08lx, arg %08lx\n", static_cast<unsigned long>(messageType),
               static_cast<unsigned long>(messageArgument));
    }
}

} // namespace kvn
