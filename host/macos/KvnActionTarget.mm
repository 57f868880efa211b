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
    const auto action = _action; // the target may be released while it runs
    action(sender);
}

@end
