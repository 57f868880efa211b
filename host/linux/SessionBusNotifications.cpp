// SPDX-License-Identifier: MIT

#include "host/linux/SessionBusNotifications.h"

#include "core/logging/CNSLog.h"
#include "host/linux/BusConnection.h"
#include "host/posix/Signals.h"

#include <cerrno>
#include <cstdint>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>
#include <sdbus-c++/Message.h>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kPath = "/com/korvane/DistributedNotifications";
constexpr const char* kInterface = "com.korvane.DistributedNotifications";
constexpr const char* kMember = "Posted";
constexpr const char* kMatch = "type='signal',path='/com/korvane/DistributedNotifications',"
                               "interface='com.korvane.DistributedNotifications',member='Posted'";

/// The most messages that are taken at once, before the main loop runs its other tasks.
constexpr int kMessagesAtOnce = 32;

using Texts = std::map<std::string, std::string, std::less<>>;

template <class... Numbers>
std::optional<std::string> numberText(const sdbus::Variant& value) {
    std::optional<std::string> text;
    ((value.containsValueOfType<Numbers>() ? void(text = std::to_string(value.get<Numbers>())) : void()),
     ...);
    return text;
}

/// Returns the value as text; nullopt for other types.
std::optional<std::string> textOf(const sdbus::Variant& value) {
    if (value.containsValueOfType<std::string>()) {
        return value.get<std::string>();
    }
    return numberText<bool, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                      std::int64_t, std::uint64_t>(value);
}

/// Reads the message's arguments. Throws sdbus::Error when they have other types.
Notification read(sdbus::Message& message) {
    Notification notification;
    message >> notification.name >> notification.object;
    std::string type;
    std::string contents;
    message.peekType(type, contents);
    if (contents == "{sv}") {
        std::map<std::string, sdbus::Variant> values;
        message >> values;
        for (const auto& [key, value] : values) {
            if (auto text = textOf(value)) {
                notification.userInfo.emplace(key, std::move(*text));
            }
        }
    } else {
        std::map<std::string, std::string> texts;
        message >> texts;
        notification.userInfo = Texts(texts.begin(), texts.end());
    }
    return notification;
}

} // namespace

struct SessionBusNotifications::Observer {
    const std::string name;
    const std::optional<std::string> object;
    const std::function<void(const Notification&)> handler;
};

SessionBusNotifications::SessionBusNotifications(MainLoop& mainLoop) : mainLoop_(mainLoop) {}
SessionBusNotifications::~SessionBusNotifications() = default;

MainLoop::Handle SessionBusNotifications::observe(const std::string& name,
                                                  const std::optional<std::string>& object,
                                                  std::function<void(const Notification&)> handler) {
    auto observer = std::make_shared<Observer>(Observer{name, object, std::move(handler)});
    std::erase_if(*observers_, [](const auto& weak) { return weak.expired(); });
    observers_->push_back(observer);
    if (!retry_) {
        connect();
    }
    return keepAlive(std::move(observer));
}

bool SessionBusNotifications::post(const Notification& notification) {
    // The second attempt is made after a restart of the bus that was not noticed before.
    for (int attempt = 0; attempt < 2 && connect(); ++attempt) {
        const SignalsBlocked blocked;
        try {
            const std::map<std::string, std::string> userInfo(notification.userInfo.begin(),
                                                              notification.userInfo.end());
            sender_->emitSignal(kMember)
                .onInterface(kInterface)
                .withArguments(notification.name, notification.object, userInfo);
            return true;
        } catch (const sdbus::Error& error) {
            if (busErrorCode(error) != ENOTCONN) {
                Kvs::OCNSLog("Failed to post %@: %@", notification.name, error.getMessage());
                return false;
            }
            giveUp(error.getMessage());
        }
    }
    return false;
}

bool SessionBusNotifications::connect() {
    if (watch_) {
        return true;
    }
    try {
        const SignalsBlocked blocked;
        connection_ = connectToBus(Bus::Session);
        if (!connection_) {
            giveUp("no bus answers");
            return false;
        }
        connection_->addMatch(
            kMatch, [this](sdbus::Message& message) { take(message); }, sdbus::floating_slot);
        sender_ = sdbus::createObject(*connection_, kPath);
        watch_ = mainLoop_.watchReadable(connection_->getEventLoopPollData().fd, [this] { receive(); });
    } catch (const sdbus::Error& error) {
        giveUp(error.getMessage());
        return false;
    }
    retry_.reset();
    if (std::exchange(failureLogged_, false)) {
        Kvs::CNSLog("The session bus is there again");
    }
    receive(); // the library may have read a signal together with the answers
    return true;
}

void SessionBusNotifications::receive() {
    if (!watch_) {
        return;
    }
    const SignalsBlocked blocked;
    try {
        for (int i = 0; i < kMessagesAtOnce; ++i) {
            if (!connection_->processPendingRequest()) {
                return;
            }
        }
    } catch (const sdbus::Error& error) {
        giveUp(error.getMessage());
        return;
    }
    // The connection may hold messages that it has read already, which the watch does not see.
    mainLoop_.post([this, alive = std::weak_ptr(observers_)] {
        if (!alive.expired()) {
            receive();
        }
    });
}

void SessionBusNotifications::take(sdbus::Message& message) {
    try {
        // Posted, because an observer may post in turn and so lose the connection, which is in use here.
        mainLoop_.post([weak = std::weak_ptr(observers_), notification = read(message)] {
            if (const auto observers = weak.lock()) {
                notify(*observers, notification);
            }
        });
    } catch (const sdbus::Error& error) {
        Kvs::OCNSDbgLog("A notification has an unknown form: %@", error.getMessage());
    }
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

void SessionBusNotifications::giveUp(const std::string& reason) {
    watch_.reset();
    sender_.reset();
    connection_.reset();
    if (!retry_) {
        retry_ = mainLoop_.startTimer(kRetryInterval, [this] { connect(); });
    }
    if (!std::exchange(failureLogged_, true)) {
        Kvs::OCNSLog("No session bus, notifications are neither sent nor received: %@", reason);
    }
}

std::unique_ptr<DistributedNotifications> makeDistributedNotifications(MainLoop& loop) {
    return std::make_unique<SessionBusNotifications>(loop);
}

} // namespace kvn::host
