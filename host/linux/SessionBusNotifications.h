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

/// Notifications as signals on the session bus; docs/protocol.md has their form. Connects when it is first
/// used, which takes a few times `kBusTimeLimit` at most. Without a bus, and when it is lost, which is
/// logged once, a connection is tried with every post and every `kRetryInterval`; observers stay.
class SessionBusNotifications final : public DistributedNotifications {
public:
    static constexpr std::chrono::seconds kRetryInterval{30};

    explicit SessionBusNotifications(MainLoop& mainLoop);
    ~SessionBusNotifications() override;
    SessionBusNotifications(const SessionBusNotifications&) = delete;
    SessionBusNotifications& operator=(const SessionBusNotifications&) = delete;

    MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object,
                             std::function<void(const Notification&)> handler) override;

    /// Observers of this process are told as those of any other. False also when the notification holds
    /// what a bus does not carry: texts that are no UTF-8.
    bool post(const Notification& notification) override;

private:
    struct Observer;
    using Observers = std::vector<std::weak_ptr<Observer>>;

    bool connect();
    void receive();
    void take(sdbus::Message& message);
    void giveUp(const std::string& reason);
    static void tell(const Observers& observers, const Notification& notification);

    MainLoop& mainLoop_;
    // Shared only so that tasks in the loop find out whether this object is still there.
    const std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
    bool failureTold_ = false;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> sender_;
    MainLoop::Handle watch_; // none without a connection
    MainLoop::Handle retry_; // none with one
};

} // namespace kvn::host
