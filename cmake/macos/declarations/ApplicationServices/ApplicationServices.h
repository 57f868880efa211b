#pragma once
#import <CoreFoundation/CoreFoundation.h>
#include <CoreGraphicsTypes.h>
extern "C" {
typedef struct CF_BRIDGED_TYPE(id) __CGEvent* CGEventRef;
typedef const struct CF_BRIDGED_TYPE(id) __CGEventSource* CGEventSourceRef;
enum : uint32_t {
    kCGEventMouseMoved = 5,
    kCGMouseButtonLeft = 0,
    kCGSessionEventTap = 1,
    kCGNullWindowID = 0,
    kCGWindowListOptionOnScreenOnly = 1
};
CGEventRef CGEventCreateMouseEvent(CGEventSourceRef, uint32_t type, CGPoint at,
                                   uint32_t button) CF_RETURNS_RETAINED;
void CGEventPost(uint32_t tap, CGEventRef);
CFArrayRef CGWindowListCopyWindowInfo(uint32_t options, uint32_t window) CF_RETURNS_RETAINED;
extern const CFStringRef kCGWindowName, kCGWindowLayer, kCGWindowOwnerPID, kAXTrustedCheckOptionPrompt;
bool CGRequestScreenCaptureAccess(void);
CFDictionaryRef CGSessionCopyCurrentDictionary(void) CF_RETURNS_RETAINED;
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef);
}
