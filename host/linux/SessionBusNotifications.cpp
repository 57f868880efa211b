// SPDX-License-Identifier: MIT

#include "host/linux/SessionBusNotifications.h"

#include "core/logging/CNSLog.h"
#include "host/linux/NotificationMessage.h"

#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kPath = "/com/korvane/DistributedNotifications";
constexpr const char* kInterface = "com.korvane.DistributedNotifications";
constexpr const char* kMember = "Posted";
constexpr const char* kRule = "type='signal',path='/com/korvane/DistributedNotifications',"
                              "interface='com.korvane.DistributedNotifications',member='Posted'";

} // namespace

struct SessionBusNotifications::Observer {
    const std::string name;
    const std::optional<std::string> object;
    const std::function<void(const Notification&)> handler;
};

SessionBusNotifications::SessionBusNotifications(MainLoop& mainLoop,
                                                 std::shared_ptr<BusConnection> sessionBus)
    : mainLoop_(mainLoop), bus_(std::move(sessionBus)),
      signals_(bus_->onSignal(kRule, [this](sd_bus_message& message) { take(message); })) {}

MainLoop::Handle SessionBusNotifications::observe(const std::string& name,
                                                  const std::optional<std::string>& object,
                                                  std::function<void(const Notification&)> handler) {
    auto observer = std::make_shared<Observer>(Observer{name, object, std::move(handler)});
    std::erase_if(*observers_, [](const auto& weak) { return weak.expired(); });
    observers_->push_back(observer);
    return keepAlive(std::move(observer));
}

bool SessionBusNotifications::post(const Notification& notification) {
    const auto message = bus_->newSignal(kPath, kInterface, kMember);
    if (!message) {
        return false;
    }
    if (!appendNotification(*message, notification)) {
        Kvs::OCNSLog("Failed to post %@: its texts are not UTF-8", notification.name);
        return false;
    }
    return bus_->send(message) >= 0;
}

void SessionBusNotifications::take(sd_bus_message& message) {
    auto notification = readNotification(message);
    if (!notification) {
        bus_->reportOnce("A notification", "it is ignored because of its form or length");
        return;
    }
    if (waiting_ == kMostWaiting) {
        bus_->reportOnce("A notification", "it is ignored because too many wait");
        return;
    }
    ++waiting_;
    // Posted, because an observer may end this object and the connection, which is in use here.
    mainLoop_.post([this, weak = std::weak_ptr(observers_), notification = std::move(*notification)] {
        if (const auto observers = weak.lock()) {
            --waiting_;
            notify(*observers, notification);
        }
    });
}

void SessionBusNotifications::notify(const Observers& observers, const Notification& notification) {
    for (const auto& weak : Observers(observers)) { // a copy, because a handler may add observers
        const auto observer = weak.lock();          // kept alive if its handler ends the registration
        if (observer && observer->name == notification.name &&
            (!observer->object || *observer->object == notification.object)) {
            observer->handler(notification);
        }
    }
}

std::unique_ptr<DistributedNotifications> makeDistributedNotifications(MainLoop& loop) {
    return std::make_unique<SessionBusNotifications>(
        loop, std::make_shared<BusConnection>(loop, BusConnection::Bus::Session));
}

} // namespace kvn::host
