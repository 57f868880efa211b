// SPDX-License-Identifier: MIT

#pragma once
#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>
#include <os/availability.h>
#ifndef NS_ENUM
#define NS_ENUM(type, name)                                                                                  \
    enum __attribute__((enum_extensibility(open))) name : type name;                                         \
    enum name : type
#define NS_OPTIONS(type, name)                                                                               \
    type name;                                                                                               \
    enum __attribute__((flag_enum, enum_extensibility(open))) : type
#endif
@class NSClipView, NSLayoutDimension, NSLayoutXAxisAnchor, NSLayoutYAxisAnchor;
@class NSEvent, NSLayoutGuide, NSMenu, NSRunningApplication, NSStackView, NSTableColumn, NSTableView;
@class NSTableHeaderView, NSText, NSView, NSWindow, NSWorkspaceOpenConfiguration;

// Layout
typedef float NSLayoutPriority;
static const NSLayoutPriority NSLayoutPriorityDragThatCannotResizeWindow = 490;
static const NSLayoutPriority NSLayoutPriorityDefaultLow = 250;
static const NSLayoutPriority NSLayoutPriorityFittingSizeCompression = 50;
typedef NS_ENUM(NSInteger, NSLayoutConstraintOrientation) {
    NSLayoutConstraintOrientationHorizontal = 0,
    NSLayoutConstraintOrientationVertical = 1
};
typedef NS_ENUM(NSInteger, NSLayoutAttribute) {
    NSLayoutAttributeLeading = 5,
    NSLayoutAttributeFirstBaseline API_AVAILABLE(macos(10.11)) = 12
};
typedef NS_ENUM(NSInteger, NSUserInterfaceLayoutOrientation) {
    NSUserInterfaceLayoutOrientationHorizontal = 0,
    NSUserInterfaceLayoutOrientationVertical = 1
};
@interface NSLayoutConstraint : NSObject
@property(getter=isActive) BOOL active API_AVAILABLE(macos(10.10));
@property CGFloat constant;
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutAnchor<AnchorType> : NSObject
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor;
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor constant:(CGFloat)constant;
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutXAxisAnchor : NSLayoutAnchor <NSLayoutXAxisAnchor*>
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutYAxisAnchor : NSLayoutAnchor <NSLayoutYAxisAnchor*>
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutDimension : NSLayoutAnchor <NSLayoutDimension*>
- (NSLayoutConstraint*)constraintEqualToConstant:(CGFloat)constant;
- (NSLayoutConstraint*)constraintLessThanOrEqualToAnchor:(NSLayoutDimension*)anchor
                                              multiplier:(CGFloat)factor;
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutGuide : NSObject
@property(readonly, strong) NSLayoutDimension* widthAnchor;
@end

// Responders and views
@interface NSResponder : NSObject
@end
@protocol NSStandardKeyBindingResponding <NSObject>
@optional
- (void)cancelOperation:(id)sender;
- (void)selectAll:(id)sender;
@end
@interface NSResponder (NSStandardKeyBindingMethods) <NSStandardKeyBindingResponding>
@end
API_AVAILABLE(macos(10.10))
@protocol NSAccessibility <NSObject>
@property(copy) NSString* accessibilityLabel;
@end
@interface NSView : NSResponder <NSAccessibility>
@property(weak, readonly) NSWindow* window;
@property(weak, readonly) NSView* superview;
@property NSRect frame;
@property(getter=isHidden) BOOL hidden;
@property(readonly, getter=isFlipped) BOOL flipped;
@property(readonly) BOOL canBecomeKeyView;
@property(copy) NSString* toolTip;
- (instancetype)initWithFrame:(NSRect)frame;
- (void)addSubview:(NSView*)view;
- (void)removeFromSuperview;
- (void)scrollPoint:(NSPoint)point;
@end
@interface NSView (Layout)
@property(readonly, strong) NSLayoutXAxisAnchor *leadingAnchor, *trailingAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutYAxisAnchor *topAnchor, *centerYAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutDimension *widthAnchor, *heightAnchor API_AVAILABLE(macos(10.11));
@property BOOL translatesAutoresizingMaskIntoConstraints;
- (void)addLayoutGuide:(NSLayoutGuide*)guide API_AVAILABLE(macos(10.11));
- (void)setContentHuggingPriority:(NSLayoutPriority)priority
                   forOrientation:(NSLayoutConstraintOrientation)orientation;
- (void)setContentCompressionResistancePriority:(NSLayoutPriority)priority
                                 forOrientation:(NSLayoutConstraintOrientation)orientation;
@end
@interface NSStackView : NSView
@property NSUserInterfaceLayoutOrientation orientation;
@property NSLayoutAttribute alignment;
@property NSEdgeInsets edgeInsets;
@property(readonly, copy) NSArray<__kindof NSView*>* arrangedSubviews API_AVAILABLE(macos(10.11));
+ (instancetype)stackViewWithViews:(NSArray<NSView*>*)views;
- (void)insertArrangedSubview:(NSView*)view atIndex:(NSInteger)index API_AVAILABLE(macos(10.11));
@end
typedef NS_ENUM(NSUInteger, NSBorderType) { NSNoBorder = 0, NSLineBorder = 1, NSBezelBorder = 2 };
typedef NS_ENUM(NSInteger, NSScrollElasticity) { NSScrollElasticityNone = 1 };
@interface NSClipView : NSView
@end
@interface NSScrollView : NSView
@property(strong) __kindof NSView* documentView;
@property(strong) NSClipView* contentView;
@property NSBorderType borderType;
@property BOOL drawsBackground;
@property BOOL hasVerticalScroller;
@property BOOL autohidesScrollers;
@property NSScrollElasticity verticalScrollElasticity;
@end

// Events and the application
typedef NS_ENUM(NSUInteger, NSEventType) { NSEventTypeApplicationDefined = 15 };
typedef NSUInteger NSEventModifierFlags;
@interface NSEvent : NSObject
@property(class, readonly) NSPoint mouseLocation;
+ (NSEvent*)otherEventWithType:(NSEventType)type
                      location:(NSPoint)location
                 modifierFlags:(NSEventModifierFlags)flags
                     timestamp:(NSTimeInterval)time
                  windowNumber:(NSInteger)window
                       context:(id)context
                       subtype:(short)subtype
                         data1:(NSInteger)data1
                         data2:(NSInteger)data2;
@end
typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy) { NSApplicationActivationPolicyAccessory = 1 };
typedef NSInteger NSModalResponse;
static const NSModalResponse NSModalResponseOK = 1, NSModalResponseCancel = 0;
@interface NSApplication : NSResponder
@property(class, readonly, strong) NSApplication* sharedApplication;
@property(strong) NSMenu* mainMenu;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (void)finishLaunching;
- (void)run;
- (void)stop:(id)sender;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)atStart;
- (void)activateIgnoringOtherApps:(BOOL)ignore;
@end
extern "C" NSApplication* NSApp;
@interface NSScreen : NSObject
@property(class, readonly, strong) NSScreen* mainScreen;
@property(readonly) NSRect frame, visibleFrame;
@end

// Controls
@interface NSImage : NSObject
+ (NSImage*)imageNamed:(NSString*)name;
- (void)setTemplate:(BOOL)isTemplate;
@end
@interface NSCell : NSObject
@property BOOL sendsActionOnEndEditing;
@end
@interface NSControl : NSView
@property NSInteger tag;
@property(weak) id target;
@property SEL action;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* stringValue;
@end
@interface NSControl (Editing)
- (NSText*)currentEditor;
- (BOOL)abortEditing;
@end
@interface NSControl (Cell)
@property(strong) __kindof NSCell* cell;
@end
@interface NSText : NSView
- (void)copy:(id)sender;
- (void)cut:(id)sender;
- (void)paste:(id)sender;
- (void)selectAll:(id)sender;
@end
typedef NS_ENUM(NSUInteger, NSCellImagePosition) { NSImageOnly = 1 };
typedef NSInteger NSControlStateValue;
static const NSControlStateValue NSControlStateValueOff = 0, NSControlStateValueOn = 1;
@interface NSButton : NSControl
@property(copy) NSString* title;
@property NSControlStateValue state;
@property NSCellImagePosition imagePosition;
@property(strong) NSImage* image;
+ (instancetype)buttonWithTitle:(NSString*)title
                         target:(id)target
                         action:(SEL)action API_AVAILABLE(macos(10.12));
+ (instancetype)checkboxWithTitle:(NSString*)title
                           target:(id)target
                           action:(SEL)action API_AVAILABLE(macos(10.12));
@end
@interface NSTextField : NSControl
@property(getter=isSelectable) BOOL selectable;
+ (instancetype)labelWithString:(NSString*)text API_AVAILABLE(macos(10.12));
+ (instancetype)wrappingLabelWithString:(NSString*)text API_AVAILABLE(macos(10.12));
+ (instancetype)textFieldWithString:(NSString*)text API_AVAILABLE(macos(10.12));
@end
typedef NS_ENUM(NSUInteger, NSDatePickerStyle) { NSDatePickerStyleTextFieldAndStepper = 0 };
typedef NS_OPTIONS(NSUInteger, NSDatePickerElementFlags) {
    NSDatePickerElementFlagHourMinute = 0x0c,
    NSDatePickerElementFlagYearMonthDay = 0xe0
};
@interface NSDatePicker : NSControl
@property NSDatePickerStyle datePickerStyle;
@property NSDatePickerElementFlags datePickerElements;
@property(copy) NSDate* dateValue;
@end

// Tables
@interface NSTableHeaderView : NSView
@end
@interface NSTableColumn : NSObject
@property(copy) NSString* title;
@property CGFloat width, minWidth;
- (instancetype)initWithIdentifier:(NSString*)identifier;
@end
@protocol NSTableViewDataSource <NSObject>
@optional
- (NSInteger)numberOfRowsInTableView:(NSTableView*)table;
@end
@protocol NSTableViewDelegate <NSObject>
@optional
- (NSView*)tableView:(NSTableView*)table viewForTableColumn:(NSTableColumn*)column row:(NSInteger)row;
@end
typedef NS_ENUM(NSInteger, NSTableViewStyle) { NSTableViewStylePlain API_AVAILABLE(macos(11.0)) = 4 };
typedef NS_ENUM(NSUInteger, NSTableViewColumnAutoresizingStyle) {
    NSTableViewUniformColumnAutoresizingStyle = 1
};
@interface NSTableView : NSControl
@property(weak) id<NSTableViewDataSource> dataSource;
@property(weak) id<NSTableViewDelegate> delegate;
@property(strong) NSTableHeaderView* headerView;
@property NSTableViewColumnAutoresizingStyle columnAutoresizingStyle;
@property NSTableViewStyle style API_AVAILABLE(macos(11.0));
@property NSSize intercellSpacing;
@property CGFloat rowHeight;
@property(readonly, copy) NSArray<NSTableColumn*>* tableColumns;
@property(readonly) NSInteger numberOfRows;
- (void)addTableColumn:(NSTableColumn*)column;
- (void)removeTableColumn:(NSTableColumn*)column;
- (void)sizeToFit;
- (void)reloadData;
@end
@interface NSTableCellView : NSView
@end

// Menus and the status bar
@interface NSMenuItem : NSObject
@property NSInteger tag;
@property(weak) id target;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* title;
@property(strong) NSMenu* submenu;
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)title action:(SEL)action keyEquivalent:(NSString*)key;
@end
@interface NSMenu : NSObject
@property BOOL autoenablesItems;
- (instancetype)initWithTitle:(NSString*)title;
- (void)addItem:(NSMenuItem*)item;
- (NSMenuItem*)addItemWithTitle:(NSString*)title action:(SEL)action keyEquivalent:(NSString*)key;
- (NSMenuItem*)itemWithTag:(NSInteger)tag;
- (void)cancelTracking;
@end
API_AVAILABLE(macos(10.10))
@interface NSStatusBarButton : NSButton
@property BOOL appearsDisabled;
@end
@interface NSStatusItem : NSObject
@property(readonly, strong) NSStatusBarButton* button API_AVAILABLE(macos(10.10));
@property(strong) NSMenu* menu;
@end
static const CGFloat NSVariableStatusItemLength = -1;
@interface NSStatusBar : NSObject
@property(class, readonly, strong) NSStatusBar* systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
- (void)removeStatusItem:(NSStatusItem*)item;
@end

// Windows
@protocol NSWindowDelegate <NSObject>
@optional
- (BOOL)windowShouldClose:(NSWindow*)sender;
@end
typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
    NSWindowStyleMaskTitled = 1,
    NSWindowStyleMaskClosable = 2
};
typedef NS_ENUM(NSUInteger, NSBackingStoreType) { NSBackingStoreBuffered = 2 };
typedef NSInteger NSWindowLevel;
static const NSWindowLevel NSNormalWindowLevel = 0;
@interface NSWindow : NSResponder
@property(copy) NSString* title;
@property(weak) id<NSWindowDelegate> delegate;
@property(strong) __kindof NSView* contentView;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property BOOL hidesOnDeactivate;
@property BOOL canHide;
@property NSWindowLevel level;
@property BOOL autorecalculatesKeyViewLoop;
@property(readonly, getter=isVisible) BOOL visible;
@property(readonly, weak) NSResponder* firstResponder;
@property(readonly, strong) NSWindow* attachedSheet;
- (instancetype)initWithContentRect:(NSRect)rect
                          styleMask:(NSWindowStyleMask)mask
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)flag;
- (NSRect)frameRectForContentRect:(NSRect)rect;
- (void)setFrame:(NSRect)frame display:(BOOL)display animate:(BOOL)animate;
- (BOOL)makeFirstResponder:(NSResponder*)responder;
- (void)endEditingFor:(id)object;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)orderFrontRegardless;
- (void)orderOut:(id)sender;
- (void)performClose:(id)sender;
- (void)endSheet:(NSWindow*)sheet returnCode:(NSModalResponse)code;
@end
@interface NSPanel : NSWindow
@end
@interface NSSavePanel : NSPanel
@property(readonly, copy) NSURL* URL;
@property(copy) NSURL* directoryURL;
@property BOOL canCreateDirectories;
- (void)beginSheetModalForWindow:(NSWindow*)window completionHandler:(void (^)(NSModalResponse))handler;
@end
@interface NSOpenPanel : NSSavePanel
@property BOOL canChooseDirectories, canChooseFiles;
+ (NSOpenPanel*)openPanel;
@end

// Applications and the session
@interface NSRunningApplication : NSObject
@property(readonly) pid_t processIdentifier;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
+ (instancetype)runningApplicationWithProcessIdentifier:(pid_t)process;
- (BOOL)forceTerminate;
@end
API_AVAILABLE(macos(10.15))
@interface NSWorkspaceOpenConfiguration : NSObject
@property(copy) NSArray<NSString*>* arguments;
@property BOOL createsNewApplicationInstance;
@property BOOL activates;
+ (instancetype)configuration;
@end
extern "C" NSString *NSWorkspaceWillSleepNotification, *NSWorkspaceDidWakeNotification;
@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
@property(readonly, strong) NSNotificationCenter* notificationCenter;
- (BOOL)selectFile:(NSString*)file inFileViewerRootedAtPath:(NSString*)path;
- (void)openURL:(NSURL*)url
        configuration:(NSWorkspaceOpenConfiguration*)configuration
    completionHandler:(void (^)(NSRunningApplication*, NSError*))handler API_AVAILABLE(macos(10.15));
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication*, NSError*))handler API_AVAILABLE(macos(10.15));
@end
extern "C" NSString* const NSApplicationDidFinishLaunchingNotification;
