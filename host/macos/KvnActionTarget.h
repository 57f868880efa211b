// SPDX-License-Identifier: MIT

#pragma once

#import <Foundation/Foundation.h>
#include <functional>

/// The target of a control or of a menu's items. These hold it weakly, so that its owner ends their actions
/// by releasing it. Main thread.
@interface KvnActionTarget : NSObject
/// `action` is called with the sender, and may release the target.
- (instancetype)initWithAction:(std::function<void(id sender)>)action;
- (void)performKvnAction:(id)sender;
@end
