// SPDX-License-Identifier: MIT

#pragma once

#include "host/desktop/BusMenu.h"
#include "host/desktop/StatusItem.h"
#include "host/linux/BusConnection.h"

#include <functional>

namespace kvn::host {

/// The item as a panel shows it that finds it on the session bus: org.kde.StatusNotifierItem. It has a
/// connection of its own, because panels keep an item until its connection ends. Main thread.
class StatusNotifierItem final : public ShownItem {
public:
    /// Registers with the watcher that the bus has now. `refused` is called if that fails, as a task of the
    /// loop. The main loop and the item outlive this object.
    StatusNotifierItem(MainLoop& mainLoop, StatusItem& item, std::function<void()> refused);

    void showPicture() override { announce("NewIcon"); }
    void showDescription() override;
    void showMenu() override { menu_.announceChanges(); }

private:
    struct Table;

    void registerItem();
    void announce(const char* change);

    MainLoop& mainLoop_;
    StatusItem& item_;
    const std::shared_ptr<const std::function<void()>> refused_; // shared so that a task can see it go
    BusConnection bus_;
    BusMenu menu_;
    MainLoop::Handle object_;
    MainLoop::Handle registration_;
    MainLoop::Handle connections_;
};

} // namespace kvn::host
