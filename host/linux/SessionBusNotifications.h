// SPDX-License-Identifier: MIT

#pragma once

#include "host/DistributedNotifications.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace sdbus {
class IConnection;
class IObject;
class Message;
} // namespace sdbus

namespace kvn::host {

/// Sends and receives notifications as signals on the session bus; docs/protocol.md describes their form.
/// Connects when it is first used, which takes a few times `kBusTimeLimit` at most. A missing or lost bus is
/// logged once; every post and every `kRetryInterval` tries to connect again. Observers stay registered.
class SessionBusNotifications final : public DistributedNotifications {
public:
    static constexpr std::chrono::seconds kRetryInterval{30};

    explicit SessionBusNotifications(MainLoop& mainLoop);
    ~SessionBusNotifications() override;
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

    bool connect();
    void receive();
    void take(sdbus::Message& message);
    void giveUp(const std::string& reason);
    static void notify(const Observers& observers, const Notification& notification);

    MainLoop& mainLoop_;
    // Shared only so that tasks in the loop can check if this object still exists.
    const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
    bool failureLogged_ = false;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> sender_;
    MainLoop::Handle watch_; // null without a connection
    MainLoop::Handle retry_; // null with a connection
};

} // namespace kvn::host
