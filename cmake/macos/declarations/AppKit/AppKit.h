#pragma once
#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>
@class NSWindow, NSMenu, NSScreen, NSView, NSStackView;
@interface NSResponder : NSObject
@end
@interface NSView : NSResponder
@property(weak, readonly) NSWindow* window;
- (instancetype)initWithFrame:(NSRect)frame;
- (void)removeFromSuperview;
@end
@interface NSControl : NSView
@property NSInteger tag;
@property(weak) id target;
@property SEL action;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* stringValue;
@end
@interface NSEvent : NSObject
@property(class, readonly) NSPoint mouseLocation;
+ (NSEvent*)otherEventWithType:(NSUInteger)type
                      location:(NSPoint)location
                 modifierFlags:(NSUInteger)flags
                     timestamp:(NSTimeInterval)time
                  windowNumber:(NSInteger)window
                       context:(id)context
                       subtype:(short)subtype
                         data1:(NSInteger)data1
                         data2:(NSInteger)data2;
@end
enum : NSUInteger { NSEventTypeApplicationDefined = 15 };
enum : NSInteger { NSApplicationActivationPolicyAccessory = 1, NSModalResponseOK = 1 };
typedef NSInteger NSModalResponse;
@interface NSApplication : NSResponder
+ (NSApplication*)sharedApplication;
- (BOOL)setActivationPolicy:(NSInteger)policy;
- (void)finishLaunching;
- (void)run;
- (void)stop:(id)sender;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)atStart;
- (void)activateIgnoringOtherApps:(BOOL)ignore;
@end
extern "C" NSApplication* NSApp;
@interface NSScreen : NSObject
@property(class, readonly) NSScreen* mainScreen;
@property(readonly) NSRect frame, visibleFrame;
@end
@interface NSImage : NSObject
+ (NSImage*)imageNamed:(NSString*)name;
@property(getter=isTemplate) BOOL template_ __attribute__((unavailable));
- (void)setTemplate:(BOOL)isTemplate;
@end
enum : NSUInteger { NSImageOnly = 1 };
enum : NSInteger { NSControlStateValueOff = 0, NSControlStateValueOn = 1 };
@interface NSButton : NSControl
@property NSInteger state;
@property NSUInteger imagePosition;
@property(strong) NSImage* image;
+ (instancetype)buttonWithTitle:(NSString*)title target:(id)target action:(SEL)action;
+ (instancetype)checkboxWithTitle:(NSString*)title target:(id)target action:(SEL)action;
@end
@interface NSStatusBarButton : NSButton
@property BOOL appearsDisabled;
@end
@interface NSStatusItem : NSObject
@property(readonly) NSStatusBarButton* button;
@property(strong) NSMenu* menu;
@end
static const CGFloat NSVariableStatusItemLength = -1;
@interface NSStatusBar : NSObject
@property(class, readonly) NSStatusBar* systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
- (void)removeStatusItem:(NSStatusItem*)item;
@end
@interface NSMenuItem : NSObject
@property NSInteger tag;
@property(weak) id target;
@property(getter=isEnabled) BOOL enabled;
@property(copy) NSString* title;
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)title action:(SEL)action keyEquivalent:(NSString*)key;
@end
@interface NSMenu : NSObject
@property BOOL autoenablesItems;
@property(copy) NSArray<NSMenuItem*>* itemArray;
- (instancetype)initWithTitle:(NSString*)title;
- (void)addItem:(NSMenuItem*)item;
@end
@protocol NSWindowDelegate <NSObject>
@optional
- (void)windowWillClose:(NSNotification*)notification;
@end
enum : NSUInteger { NSWindowStyleMaskTitled = 1, NSWindowStyleMaskClosable = 2, NSBackingStoreBuffered = 2 };
enum : NSInteger { NSNormalWindowLevel = 0 };
@interface NSWindow : NSResponder
@property(readonly) NSScreen* screen;
@property(copy) NSString* title;
@property(weak) id<NSWindowDelegate> delegate;
@property(strong) NSView* contentView;
@property BOOL releasedWhenClosed, hidesOnDeactivate;
@property NSInteger level;
@property(readonly, getter=isVisible) BOOL visible;
- (instancetype)initWithContentRect:(NSRect)rect
                          styleMask:(NSUInteger)mask
                            backing:(NSUInteger)backing
                              defer:(BOOL)flag;
- (NSRect)frameRectForContentRect:(NSRect)rect;
- (void)setFrame:(NSRect)frame display:(BOOL)display;
- (void)makeKeyAndOrderFront:(id)sender;
- (void)orderFrontRegardless;
- (void)close;
@end
@interface NSPanel : NSWindow
@end
@interface NSOpenPanel : NSPanel
@property BOOL canChooseDirectories, canChooseFiles;
@property(readonly) NSURL* URL;
+ (NSOpenPanel*)openPanel;
- (void)beginSheetModalForWindow:(NSWindow*)window completionHandler:(void (^)(NSModalResponse))handler;
@end
@interface NSTextField : NSControl
@property(getter=isSelectable) BOOL selectable;
+ (instancetype)wrappingLabelWithString:(NSString*)text;
+ (instancetype)textFieldWithString:(NSString*)text;
@end
@interface NSDatePicker : NSControl
@property(copy) NSDate* dateValue;
@end
enum : NSInteger {
    NSUserInterfaceLayoutOrientationHorizontal = 0,
    NSUserInterfaceLayoutOrientationVertical = 1,
    NSLayoutAttributeLeading = 5,
    NSLayoutAttributeFirstBaseline = 12
};
@interface NSStackView : NSView
@property NSInteger orientation, alignment;
@property NSEdgeInsets edgeInsets;
@property(readonly, copy) NSArray<NSView*>* arrangedSubviews;
+ (instancetype)stackViewWithViews:(NSArray<NSView*>*)views;
- (void)addArrangedSubview:(NSView*)view;
@end
@interface NSTableColumn : NSObject
@property(copy) NSString *title, *identifier;
- (instancetype)initWithIdentifier:(NSString*)identifier;
@end
@protocol NSTableViewDataSource <NSObject>
@end
@interface NSTableView : NSControl
@property(weak) id<NSTableViewDataSource> dataSource;
- (void)addTableColumn:(NSTableColumn*)column;
@end
@interface NSScrollView : NSView
@property(strong) NSView* documentView;
@property BOOL hasVerticalScroller;
@end
@interface NSRunningApplication : NSObject
@property(readonly) pid_t processIdentifier;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)identifier;
+ (NSRunningApplication*)runningApplicationWithProcessIdentifier:(pid_t)process;
- (BOOL)forceTerminate;
@end
@interface NSWorkspaceOpenConfiguration : NSObject
@property(copy) NSArray<NSString*>* arguments;
@property BOOL createsNewApplicationInstance, activates;
+ (instancetype)configuration;
@end
extern "C" NSString *const NSWorkspaceWillSleepNotification, *const NSWorkspaceDidWakeNotification;
@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
@property(readonly) NSNotificationCenter* notificationCenter;
- (BOOL)openURL:(NSURL*)url;
- (BOOL)selectFile:(NSString*)file inFileViewerRootedAtPath:(NSString*)path;
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication*, NSError*))handler;
@end
