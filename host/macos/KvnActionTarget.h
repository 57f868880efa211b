// SPDX-License-Identifier: MIT

#pragma once

#import <Foundation/Foundation.h>
#include <functional>

/// The target of a control, of a menu's items, of notifications or of Apple events. Controls and menus hold
/// it weakly, so that its owner ends their actions by releasing it. Main thread.
@interface KvnActionTarget : NSObject
/// `action` is called with the sender, the notification or the event. It may release the target. If it
/// throws, the process ends: the system's callers could catch the exception and go on with half of the work
/// done.
- (instancetype)initWithAction:(std::function<void(id sender)>)action;
- (void)performKvnAction:(id)sender;
- (void)performKvnAction:(NSAppleEventDescriptor*)event withReply:(NSAppleEventDescriptor*)reply;
@end
