// SPDX-License-Identifier: MIT

#include "host/macos/KvnDialogPanel.h"

#include <utility>

namespace {

constexpr CGFloat kVerticalMargin = 16;
constexpr CGFloat kHorizontalMargin = 20;

/// Returns the commands that every window with text fields is expected to have. They go to the first
/// responder.
NSMenu* keyboardCommands() {
    NSMenu* const menu = [[NSMenu alloc] initWithTitle:@""];
    [menu addItemWithTitle:@"" action:@selector(performClose:) keyEquivalent:@"w"];
    [menu addItemWithTitle:@"" action:@selector(cut:) keyEquivalent:@"x"];
    [menu addItemWithTitle:@"" action:@selector(copy:) keyEquivalent:@"c"];
    [menu addItemWithTitle:@"" action:@selector(paste:) keyEquivalent:@"v"];
    [menu addItemWithTitle:@"" action:@selector(selectAll:) keyEquivalent:@"a"];
    return menu;
}

} // namespace

/// Begins at its top, where other views begin at their lower edge.
@interface KvnDialogRows : NSStackView
@end

@implementation KvnDialogRows
- (BOOL)isFlipped {
    return YES;
}
@end

@interface KvnDialogPanel () <NSWindowDelegate>
@end

@implementation KvnDialogPanel {
    std::function<void()> _closeRequested;
    NSMenu* _commands;
    KvnDialogRows* _rows;
    NSLayoutGuide* _labels;
}

- (instancetype)initWithCloseRequest:(std::function<void()>)closeRequested {
    self = [super initWithContentRect:NSZeroRect
                            styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                              backing:NSBackingStoreBuffered
                                defer:YES];
    if (self) {
        _closeRequested = std::move(closeRequested);
        _commands = keyboardCommands();
        self.delegate = self;
        self.releasedWhenClosed = NO; // its owner releases it
        self.hidesOnDeactivate = NO;  // the agent is hardly ever the active application
        self.canHide = NO;            // a hidden dialog would count as closed
        self.level = NSNormalWindowLevel;
        self.autorecalculatesKeyViewLoop = YES;
        [self makeContent];
    }
    return self;
}

- (void)makeContent {
    _rows = [[KvnDialogRows alloc] initWithFrame:NSZeroRect];
    _rows.orientation = NSUserInterfaceLayoutOrientationVertical;
    _rows.alignment = NSLayoutAttributeLeading;
    _rows.edgeInsets =
        NSEdgeInsetsMake(kVerticalMargin, kHorizontalMargin, kVerticalMargin, kHorizontalMargin);
    _rows.translatesAutoresizingMaskIntoConstraints = NO;
    _labels = [[NSLayoutGuide alloc] init];
    [_rows addLayoutGuide:_labels];
    [_labels.widthAnchor constraintLessThanOrEqualToAnchor:_rows.widthAnchor multiplier:0.5].active = YES;
    NSScrollView* const scroller = [[NSScrollView alloc] initWithFrame:NSZeroRect];
    scroller.drawsBackground = NO;
    scroller.hasVerticalScroller = YES;
    scroller.autohidesScrollers = YES;
    scroller.documentView = _rows;
    NSClipView* const clip = scroller.contentView;
    [_rows.topAnchor constraintEqualToAnchor:clip.topAnchor].active = YES;
    [_rows.leadingAnchor constraintEqualToAnchor:clip.leadingAnchor].active = YES;
    [_rows.trailingAnchor constraintEqualToAnchor:clip.trailingAnchor].active = YES;
    self.contentView = scroller;
}

- (void)placeRow:(NSView*)row label:(NSTextField*)label at:(NSInteger)place {
    NSArray<NSView*>* const shown = _rows.arrangedSubviews;
    const auto index = static_cast<NSUInteger>(place);
    if (index < shown.count && shown[index] == row) {
        return;
    }
    const bool isNew = row.superview != _rows;
    [_rows insertArrangedSubview:row atIndex:place];
    if (isNew) {
        // These constraints go with the row.
        [row.widthAnchor constraintEqualToAnchor:_rows.widthAnchor constant:-2 * kHorizontalMargin].active =
            YES;
        [label.widthAnchor constraintEqualToAnchor:_labels.widthAnchor].active = YES;
    }
}

- (void)beginAtTop {
    [_rows scrollPoint:NSZeroPoint];
    [self recalculateKeyViewLoop];
    [self selectKeyViewFollowingView:self.contentView];
}

- (void)endEditing {
    if (NSWindow* const sheet = self.attachedSheet) {
        [self endSheet:sheet returnCode:NSModalResponseCancel];
    }
    [self makeFirstResponder:nil];
}

- (BOOL)windowShouldClose:(NSWindow*)__unused sender {
    const auto closeRequested = _closeRequested;
    closeRequested();
    return NO;
}

- (void)cancelOperation:(id)sender {
    [self performClose:sender];
}

- (BOOL)performKeyEquivalent:(NSEvent*)event {
    return [super performKeyEquivalent:event] || [_commands performKeyEquivalent:event];
}

@end
