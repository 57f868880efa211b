// SPDX-License-Identifier: MIT

#include "host/macos/KvnActionTarget.h"

#include <utility>

@implementation KvnActionTarget {
    std::function<void(id)> _action;
}

- (instancetype)initWithAction:(std::function<void(id)>)action {
    self = [super init];
    if (self) {
        _action = std::move(action);
    }
    return self;
}

- (void)performKvnAction:(id)sender {
    // A copy, because the target may be released while it runs.
    [action = _action, sender]() noexcept { action(sender); }();
}

- (void)performKvnAction:(NSAppleEventDescriptor*)event withReply:(NSAppleEventDescriptor*)__unused reply {
    [self performKvnAction:event];
}

@end
