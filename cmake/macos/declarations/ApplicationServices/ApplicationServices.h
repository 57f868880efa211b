// SPDX-License-Identifier: MIT

#pragma once
#import <CoreFoundation/CoreFoundation.h>
#include <CoreGraphicsTypes.h>
#pragma clang arc_cf_code_audited begin
extern "C" {
typedef struct CF_BRIDGED_TYPE(id) __CGEvent* CGEventRef;
typedef struct CF_BRIDGED_TYPE(id) __CGEventSource* CGEventSourceRef;
typedef struct CF_BRIDGED_TYPE(id) CGDisplayStream* CGDisplayStreamRef;
typedef const struct CF_BRIDGED_TYPE(id) CGDisplayStreamUpdate* CGDisplayStreamUpdateRef;
typedef struct CF_BRIDGED_TYPE(id) __IOSurface* IOSurfaceRef;
typedef uint32_t CGDirectDisplayID;
enum : uint32_t {
    kCGEventMouseMoved = 5,
    kCGMouseButtonLeft = 0,
    kCGSessionEventTap = 1,
    kCGNullWindowID = 0,
    kCGWindowListOptionOnScreenOnly = 1
};
CGDirectDisplayID CGMainDisplayID(void);
CGRect CGDisplayBounds(CGDirectDisplayID);
CGEventRef CGEventCreateMouseEvent(CGEventSourceRef, uint32_t type, CGPoint at, uint32_t button);
void CGEventPost(uint32_t tap, CGEventRef);
CFArrayRef CGWindowListCopyWindowInfo(uint32_t options, uint32_t window);
extern const CFStringRef kCGWindowName, kCGWindowLayer, kCGWindowOwnerPID;
extern const CFStringRef kAXTrustedCheckOptionPrompt API_AVAILABLE(macos(10.9));
bool CGRequestScreenCaptureAccess(void) API_AVAILABLE(macos(10.15));
typedef int32_t CGDisplayStreamFrameStatus;
typedef void (^CGDisplayStreamFrameAvailableHandler)(CGDisplayStreamFrameStatus, uint64_t time, IOSurfaceRef,
                                                     CGDisplayStreamUpdateRef);
CGDisplayStreamRef CGDisplayStreamCreate(CGDirectDisplayID, size_t width, size_t height, int32_t pixelFormat,
                                         CFDictionaryRef properties, CGDisplayStreamFrameAvailableHandler)
    API_DEPRECATED("ScreenCaptureKit captures the screen", macos(10.8, 14.0));
CFDictionaryRef CGSessionCopyCurrentDictionary(void);
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef) API_AVAILABLE(macos(10.9));
}
#pragma clang arc_cf_code_audited end
