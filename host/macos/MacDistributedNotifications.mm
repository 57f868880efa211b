// SPDX-License-Identifier: MIT

#include "host/DistributedNotifications.h"
#include "host/macos/Conversions.h"
#include "host/macos/KvnActionTarget.h"

namespace kvn::host {
namespace {

/// Returns a value, which any program may have sent, as text; an empty one for nil.
std::string textOf(id value) {
    return stdString([value isKindOfClass:[NSString class]] ? value : [value description]);
}

Notification notificationOf(NSNotification* received) {
    Notification notification{stdString(received.name), textOf(received.object), {}};
    NSDictionary* const userInfo = received.userInfo;
    for (id key in userInfo) {
        notification.userInfo.emplace(textOf(key), textOf(userInfo[key]));
    }
    return notification;
}

using Handler = std::function<void(const Notification&)>;

class Observation final : public MainLoop::Registration {
public:
    Observation(KvnActionTarget* target, std::shared_ptr<const Handler> handler)
        : target_(target), handler_(std::move(handler)) {}
    ~Observation() override { [NSDistributedNotificationCenter.defaultCenter removeObserver:target_]; }
    Observation(const Observation&) = delete;
    Observation& operator=(const Observation&) = delete;

private:
    KvnActionTarget* const target_;
    const std::shared_ptr<const Handler> handler_;
};

/// The session's notification centre. It takes every notification, and does not say if anybody gets it.
class MacDistributedNotifications final : public DistributedNotifications {
public:
    explicit MacDistributedNotifications(MainLoop& mainLoop) : mainLoop_(mainLoop) {}

    MainLoop::Handle observe(const std::string& name, const std::optional<std::string>& object,
                             Handler handler) override;
    bool post(const Notification& notification) override;

private:
    MainLoop& mainLoop_;
};

MainLoop::Handle MacDistributedNotifications::observe(const std::string& name,
                                                      const std::optional<std::string>& object,
                                                      Handler handler) {
    const auto shared = std::make_shared<const Handler>(std::move(handler));
    const std::weak_ptr<const Handler> weak = shared;
    KvnActionTarget* const target =
        [[KvnActionTarget alloc] initWithAction:[&loop = mainLoop_, weak](id received) {
            // Posted, because the handler may throw, and may end the registration that is in use here.
            loop.post([weak, notification = notificationOf(received)] {
                if (const auto alive = weak.lock()) {
                    (*alive)(notification);
                }
            });
        }];
    // Delivered at once, or an application that is not active would get it only when it becomes active. A
    // block could not ask for that.
    [NSDistributedNotificationCenter.defaultCenter
               addObserver:target
                  selector:@selector(performKvnAction:)
                      name:nsString(name)
                    object:object ? nsString(*object) : nil
        suspensionBehavior:NSNotificationSuspensionBehaviorDeliverImmediately];
    return std::make_unique<Observation>(target, shared);
}

bool MacDistributedNotifications::post(const Notification& notification) {
    NSMutableDictionary* const userInfo = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : notification.userInfo) {
        userInfo[nsString(key)] = nsString(value);
    }
    [NSDistributedNotificationCenter.defaultCenter postNotificationName:nsString(notification.name)
                                                                 object:nsString(notification.object)
                                                               userInfo:userInfo
                                                     deliverImmediately:YES];
    return true;
}

} // namespace

std::unique_ptr<DistributedNotifications> makeDistributedNotifications(MainLoop& loop) {
    return std::make_unique<MacDistributedNotifications>(loop);
}

} // namespace kvn::host
