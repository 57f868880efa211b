#pragma once

#include "basic/SystemSleepObserver.h"
#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "host/Pointer.h"
#include "host/PowerManagement.h"

#include <cstdint>
#include <vector>

namespace kvn {

/// The one point of contact with power management: lights the display, as the agent does before it launches
/// a client; can keep it awake, and relay the system's sleep and wake-up to observers, who may veto an idle
/// sleep.
/// Main thread, except `declareLocalUserActivity`. Lives until the main loop has stopped.
class SystemSleepMonitor {
public:
    SystemSleepMonitor(host::PowerManagement& power, host::Pointer& pointer, host::MainLoop& mainLoop);
    ~SystemSleepMonitor();
    SystemSleepMonitor(const SystemSleepMonitor&) = delete;
    SystemSleepMonitor& operator=(const SystemSleepMonitor&) = delete;

    /// The process's monitor, set once by main before other threads start; null until then. Any thread.
    static SystemSleepMonitor* sharedInstance();
    static void setSharedInstance(SystemSleepMonitor* monitor);

    /// The first observer begins, the removal of the last ends the delivery of power messages. The
    /// observer is not owned and removes itself before it goes. Adding it again changes nothing.
    void addObserver(SystemSleepObserver& observer);
    void removeObserver(SystemSleepObserver& observer);

    bool registerForIOKitNotifications();
    void unregisterForIOKitNotifications();

    /// Lights a sleeping display up when a session is about to start. Any thread.
    bool declareLocalUserActivity();

    /// Lights the display up, dismisses the screen saver, and a little later keeps the display awake until
    /// `allowDisplaySleep`. 0, or -1 when nothing was begun.
    std::int32_t wakeupDisplayAndPreventSleep();
    void allowDisplaySleep();
    void releasePreventSleepAssertion(host::PowerManagement::AssertionId assertion);

    /// Nudges the pointer a moment later; it ends where it was.
    void closeScreenSaver();

    /// Whether an idle sleep may go on. At most three requests in a row are refused, so that a stuck
    /// observer cannot keep the machine awake for ever.
    bool canSystemSleep();
    void systemWillSleep();
    void systemDidWakeup();

private:
    void MySleepCallBack(std::uint32_t messageType, std::intptr_t messageArgument);
    std::int32_t declareActivity(const char* name, host::PowerManagement::UserActivity kind);
    void preventDisplaySleep();
    std::vector<SystemSleepObserver*>::const_iterator find(const SystemSleepObserver* observer) const;
    void nudgePointer();

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
