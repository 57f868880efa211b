// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "host/Pointer.h"
#include "host/PowerManagement.h"

#include <cstdint>
#include <vector>

namespace kvn {

/// Follows the system's sleep. Called on the main thread.
class SystemSleepObserver {
public:
    virtual ~SystemSleepObserver() = default;

    /// Called before an idle sleep; returns false to refuse it.
    virtual bool canSystemSleep() = 0;
    virtual void systemWillSleep() = 0;
    virtual void systemDidWakeup() = 0;
};

/// The agent's only access to power management: wakes the display, keeps it awake, and notifies observers
/// when the system goes to sleep and wakes up. Observers may refuse an idle sleep.
///
/// Main thread, except `declareLocalUserActivity`. Must live until the main loop has stopped.
class SystemSleepMonitor {
public:
    SystemSleepMonitor(host::PowerManagement& power, host::Pointer& pointer, host::MainLoop& mainLoop);
    ~SystemSleepMonitor();
    SystemSleepMonitor(const SystemSleepMonitor&) = delete;
    SystemSleepMonitor& operator=(const SystemSleepMonitor&) = delete;

    /// Returns the monitor of the process: null until main has set it, before other threads start. Any
    /// thread.
    static SystemSleepMonitor* sharedInstance() { return sharedInstance_; }
    static void setSharedInstance(SystemSleepMonitor* monitor) { sharedInstance_ = monitor; }

    /// Power messages are delivered while there is an observer. The observer is not owned and must be removed
    /// before its end. Adding it again changes nothing.
    void addObserver(SystemSleepObserver& observer);
    void removeObserver(SystemSleepObserver& observer);

    bool registerForIOKitNotifications();
    void unregisterForIOKitNotifications();

    /// Wakes a sleeping display, because a remote session is about to start. Any thread.
    bool declareLocalUserActivity();

    /// Wakes the display, dismisses the screen saver, and 2 seconds later keeps the display awake until
    /// `allowDisplaySleep`. Returns 0, or -1 if the display could not be woken and nothing follows.
    std::int32_t wakeupDisplayAndPreventSleep();
    void allowDisplaySleep();
    void releasePreventSleepAssertion(host::PowerManagement::AssertionId assertion);

    /// Moves the pointer slightly and back, 200 ms later.
    void closeScreenSaver();

    /// Returns true if an idle sleep is allowed. At most three requests in a row are refused, so that an
    /// observer that always refuses cannot keep the machine awake for ever.
    bool canSystemSleep();
    void systemWillSleep();
    void systemDidWakeup();

private:
    void MySleepCallBack(std::uint32_t messageType, std::intptr_t messageArgument);
    std::int32_t declareActivity(const char* name, host::PowerManagement::UserActivity kind);
    void preventDisplaySleep();
    std::vector<SystemSleepObserver*>::const_iterator find(const SystemSleepObserver* observer) const;
    void nudgePointer();

    inline static SystemSleepMonitor* sharedInstance_ = nullptr;

    host::PowerManagement& power_;
    host::Pointer& pointer_;
    host::MainLoop& mainLoop_;
    bool registered_ = false;
    host::PowerManagement::AssertionId preventSleepAssertionID_ = 0;
    Kvs::FThreadLock activityLock_;
    host::PowerManagement::AssertionId activityAssertionID_ KVS_GUARDED_BY(activityLock_) = 0;
    std::vector<SystemSleepObserver*> observers_;
    std::int32_t vetoCounter_ = 0;
};

} // namespace kvn
