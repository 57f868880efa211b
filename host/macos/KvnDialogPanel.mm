// SPDX-License-Identifier: MIT

#include "host/macos/KvnDialogPanel.h"

#include <utility>

namespace {

constexpr CGFloat kVerticalMargin = 16;
constexpr CGFloat kHorizontalMargin = 20;

} // namespace

/// Begins at its top, where other views begin at their lower edge.
@interface KvnDialogRows : NSStackView
@end

@implementation KvnDialogRows
- (BOOL)isFlipped {
    return YES;
}
@end

@implementation KvnDialogPanel {
    std::function<void()> _closeRequested;
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
        row.translatesAutoresizingMaskIntoConstraints = NO;
        // These constraints go with the row.
        [row.widthAnchor constraintEqualToAnchor:_rows.widthAnchor constant:-2 * kHorizontalMargin].active =
            YES;
        [label.widthAnchor constraintEqualToAnchor:_labels.widthAnchor].active = YES;
    }
}

- (void)beginAtTopWith:(NSControl*)control {
    [_rows scrollPoint:NSZeroPoint];
    [self makeFirstResponder:control];
}

- (void)endEditing {
    if (NSWindow* const sheet = self.attachedSheet) {
        [self endSheet:sheet returnCode:NSModalResponseCancel];
    }
    if (![self makeFirstResponder:nil]) {
        [self endEditingFor:nil]; // a control that keeps the focus loses it
    }
}

- (BOOL)windowShouldClose:(NSWindow*)__unused sender {
    // An exception ends the process here, as in the actions of controls.
    [closeRequested = _closeRequested]() noexcept { closeRequested(); }();
    return NO;
}

- (void)cancelOperation:(id)sender {
    [self performClose:sender];
}

@end
