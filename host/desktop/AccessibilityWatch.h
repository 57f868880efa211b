// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/BusConnection.h"

#include <functional>
#include <memory>

namespace kvn::host {

/// Waits until accessibility is on, which a screen reader switches on for all programs of the session. The
/// toolkit asks for that, too, but holds the main thread until the session bus answers. Main thread.
class AccessibilityWatch {
public:
    /// `switchedOn` is called once, but not by the constructor; it must not destroy this object.
    AccessibilityWatch(std::shared_ptr<BusConnection> sessionBus, std::function<void()> switchedOn);
    ~AccessibilityWatch() = default;
    AccessibilityWatch(const AccessibilityWatch&) = delete;
    AccessibilityWatch& operator=(const AccessibilityWatch&) = delete;

private:
    void ask();
    void take(sd_bus_message* property);

    const std::shared_ptr<BusConnection> bus_;
    const std::function<void()> switchedOn_;
    MainLoop::Handle changes_[2];
    MainLoop::Handle connections_;
    MainLoop::Handle questions_[2];
};

/// Has the toolkit show the windows to screen readers, those that are open already included. From now on the
/// toolkit itself uses the session bus and the bus of accessible objects. Main thread.
void showToScreenReaders();

} // namespace kvn::host
