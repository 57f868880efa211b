// SPDX-License-Identifier: MIT

#pragma once

#import <AppKit/AppKit.h>
#include <functional>

/// The window of a dialog: rows from top to bottom, which scroll when they are higher than the window. Escape
/// closes it. Main thread.
@interface KvnDialogPanel : NSPanel <NSWindowDelegate>

/// `closeRequested` is called when the user wants to close the window, which stays open by itself.
- (instancetype)initWithCloseRequest:(std::function<void()>)closeRequested;

/// Shows the row at this place, counted from the top. A row that is new gets the width of the window. `label`
/// is the row's text in the column of labels, or nil.
- (void)placeRow:(NSView*)row label:(NSTextField*)label at:(NSInteger)place;

/// Scrolls to the top, and gives the keyboard focus to the control, or to the window if that is nil.
- (void)beginAtTopWith:(NSControl*)control;

/// Ends what the user has begun in the window: a choice of a folder is cancelled, and a value that is not
/// finished goes to the target of its control.
- (void)endEditing;

@end
