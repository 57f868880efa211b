// SPDX-License-Identifier: MIT

#include "host/macos/MacConsoleUser.h"

#include "core/logging/CNSLog.h"
#include "host/macos/Conversions.h"

#import <Foundation/Foundation.h>
#import <SystemConfiguration/SystemConfiguration.h>

namespace kvn::host {
namespace {

/// A connection to the store that calls the task after each change.
class ConsoleWatch final : public MainLoop::Registration {
public:
    ConsoleWatch(MainLoop& mainLoop, MainLoop::Task task);
    ~ConsoleWatch() override {
        if (store_) {
            SCDynamicStoreSetDispatchQueue(store_, nullptr);
            CFRelease(store_);
        }
    }
    ConsoleWatch(const ConsoleWatch&) = delete;
    ConsoleWatch& operator=(const ConsoleWatch&) = delete;

private:
    const std::shared_ptr<MainLoop::Task> task_;
    SCDynamicStoreRef store_ = nullptr;
};

ConsoleWatch::ConsoleWatch(MainLoop& mainLoop, MainLoop::Task task)
    : task_(std::make_shared<MainLoop::Task>(std::move(task))) {
    // The store keeps the block, which keeps nothing of this object: a change may be on its way when the
    // registration ends.
    MainLoop* const loop = &mainLoop;
    const std::weak_ptr<MainLoop::Task> weak = task_;
    const dispatch_block_t changed = ^{
      loop->post([weak] {
          if (const auto alive = weak.lock()) {
              (*alive)();
          }
      });
    };
    SCDynamicStoreContext context{0, (__bridge void*)changed, CFRetain, CFRelease, nullptr};
    store_ = SCDynamicStoreCreate(
        nullptr, CFSTR("KvnGUIAgent"),
        [](SCDynamicStoreRef, CFArrayRef, void* block) { ((__bridge dispatch_block_t)block)(); }, &context);
    NSString* const key = CFBridgingRelease(SCDynamicStoreKeyCreateConsoleUser(nullptr));
    if (!store_ || !SCDynamicStoreSetNotificationKeys(store_, (__bridge CFArrayRef) @[ key ], nullptr) ||
        !SCDynamicStoreSetDispatchQueue(store_, dispatch_get_main_queue())) {
        Kvs::CNSLog("Changes of the console user are not known: %s", SCErrorString(SCError()));
    }
}

} // namespace

ConsoleUser::Owner MacConsoleUser::current() {
    Owner owner;
    gid_t group = 0;
    NSString* const name = CFBridgingRelease(SCDynamicStoreCopyConsoleUser(nullptr, &owner.uid, &group));
    if (!name) {
        return {};
    }
    owner.name = stdString(name);
    return owner;
}

MainLoop::Handle MacConsoleUser::onChange(MainLoop::Task task) {
    return std::make_unique<ConsoleWatch>(mainLoop_, std::move(task));
}

} // namespace kvn::host
