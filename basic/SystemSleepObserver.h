#pragma once

namespace kvn {

/// Follows the system's sleep. Main thread.
class SystemSleepObserver {
public:
    virtual ~SystemSleepObserver() = default;

    /// Asked before an idle sleep.
    virtual bool canSystemSleep() = 0;
    virtual void systemWillSleep() = 0;
    virtual void systemDidWakeup() = 0;
};

} // namespace kvn
