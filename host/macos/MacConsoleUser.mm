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
    ConsoleWatch(MainLoop& loop, MainLoop::Task task)
        : loop_(loop), task_(std::make_shared<MainLoop::Task>(std::move(task))) {
        if (!connect()) {
            Kvs::CNSLog("Changes of the console user are not known: %s", SCErrorString(SCError()));
            retry_ = loop_.startTimer(MacConsoleUser::kRetryInterval, [this] { retry(); });
        }
    }
    ~ConsoleWatch() override {
        if (store_) {
            SCDynamicStoreSetDispatchQueue(store_, nullptr);
            CFRelease(store_);
        }
    }
    ConsoleWatch(const ConsoleWatch&) = delete;
    ConsoleWatch& operator=(const ConsoleWatch&) = delete;

private:
    bool connect();
    void retry();

    MainLoop& loop_;
    const std::shared_ptr<MainLoop::Task> task_;
    MainLoop::Handle retry_;            // null with a connection
    SCDynamicStoreRef store_ = nullptr; // set if the queue is
};

bool ConsoleWatch::connect() {
    // The store keeps the block, which keeps nothing of this object: a change may be on its way when the
    // registration ends.
    MainLoop* const loop = &loop_;
    const std::weak_ptr<MainLoop::Task> weak = task_;
    const dispatch_block_t changed = ^{
      loop->post([weak] {
          if (const auto task = weak.lock()) {
              (*task)();
          }
      });
    };
    SCDynamicStoreContext context{0, (__bridge void*)changed, CFRetain, CFRelease, nullptr};
    SCDynamicStoreRef const store = SCDynamicStoreCreate(
        nullptr, CFSTR("KvnGUIAgent"),
        [](SCDynamicStoreRef, CFArrayRef, void* block) { ((__bridge dispatch_block_t)block)(); }, &context);
    NSString* const key = CFBridgingRelease(SCDynamicStoreKeyCreateConsoleUser(nullptr));
    if (store && SCDynamicStoreSetNotificationKeys(store, (__bridge CFArrayRef) @[ key ], nullptr) &&
        SCDynamicStoreSetDispatchQueue(store, dispatch_get_main_queue())) {
        store_ = store;
        return true;
    }
    if (store) {
        CFRelease(store); // leaves the error for the log, which the end of a queue would replace
    }
    return false;
}

void ConsoleWatch::retry() {
    if (connect()) {
        retry_.reset();
        const auto task = task_;
        (*task)(); // for the changes that were missed; may destroy this object
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
