// SPDX-License-Identifier: MIT

#pragma once

#include "host/desktop/PanelChoice.h"
#include "host/linux/BusConnection.h"

#include <functional>
#include <memory>

namespace kvn::host {

/// Follows the org.kde.StatusNotifierWatcher of the session. Main thread.
class StatusNotifierWatch {
public:
    /// The time after which a watcher that does not answer counts as unusable, and after which one that has
    /// gone without another one in its place counts as none.
    static constexpr std::chrono::seconds kPatience{1};

    /// `changed` is called after each change of the state, but not by the constructor; it must not destroy
    /// this object. Between two watchers the state is always `Unknown`. The main loop outlives this object.
    StatusNotifierWatch(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                        std::function<void()> changed);
    ~StatusNotifierWatch() = default;
    StatusNotifierWatch(const StatusNotifierWatch&) = delete;
    StatusNotifierWatch& operator=(const StatusNotifierWatch&) = delete;

    Watcher state() const { return state_; }

    /// Tells this object that the watcher has refused the item.
    void refused() { settle(Watcher::Unusable); }

private:
    void askForOwner();
    void askForPanel();
    void takeOwner(const char* owner);
    void wait(Watcher state, Watcher afterwards);
    void settle(Watcher state);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> bus_;
    const std::function<void()> changed_;
    Watcher state_ = Watcher::Unknown;
    MainLoop::Handle patience_; // in states that wait
    MainLoop::Handle question_;
    MainLoop::Handle owners_;
    MainLoop::Handle panels_[2];
    MainLoop::Handle connections_;
};

} // namespace kvn::host
