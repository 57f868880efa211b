// SPDX-License-Identifier: MIT

#pragma once

#include "host/DistributedNotifications.h"
#include "host/linux/BusConnection.h"

#include <memory>
#include <string>
#include <vector>

namespace kvn::host {

/// Sends and receives notifications as signals on the session bus; docs/protocol.md describes their form.
/// Posting fails while the bus is not connected. Observers stay registered when the bus is lost.
class SessionBusNotifications final : public DistributedNotifications {
public:
    SessionBusNotifications(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus);
    ~SessionBusNotifications() override = default;
    SessionBusNotifications(const SessionBusNotifications&) = delete;
    SessionBusNotifications& operator=(const SessionBusNotifications&) = delete;

    MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object,
                             std::function<void(const Notification&)> handler) override;

    /// Observers in this process are called, too. Also returns false for texts that are not UTF-8, which a
    /// bus does not carry.
    bool post(const Notification& notification) override;

private:
    struct Observer;
    using Observers = std::vector<std::weak_ptr<Observer>>;

    /// The most that wait to be passed on. Another program may send them faster than a dialog is opened.
    static constexpr std::size_t kMostWaiting = 1024;

    void take(sd_bus_message& message);
    static void notify(const Observers& observers, const Notification& notification);

    MainLoop& mainLoop_;
    const std::shared_ptr<BusConnection> bus_;
    // Shared only so that tasks in the loop can check if this object still exists.
    const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
    std::size_t waiting_ = 0;
    MainLoop::Handle signals_;
};

} // namespace kvn::host
