// SPDX-License-Identifier: MIT

#include "host/macos/MacPrivacyPermissions.h"

#include "host/macos/Conversions.h"

#import <ApplicationServices/ApplicationServices.h>
#import <Foundation/Foundation.h>

// Linked weakly: a release of the system without this function still starts the agent, which does not call
// it.
#pragma weak CGDisplayStreamCreate

namespace kvn::host {
namespace {

/// Begins to capture one pixel of the main display. Returns true if the system gave a stream.
bool beginDisplayStream() {
    constexpr std::int32_t kPixelFormat = 'BGRA';
    return CFBridgingRelease(CGDisplayStreamCreate(
               CGMainDisplayID(), 1, 1, kPixelFormat, nullptr,
               ^(CGDisplayStreamFrameStatus, std::uint64_t, IOSurfaceRef, CGDisplayStreamUpdateRef){
               })) != nil;
}

} // namespace

std::optional<std::vector<ScreenWindow>> MacPrivacyPermissions::onScreenWindows() const {
    NSArray<NSDictionary*>* const list =
        CFBridgingRelease(CGWindowListCopyWindowInfo(kCGWindowListOptionOnScreenOnly, kCGNullWindowID));
    if (!list) {
        return std::nullopt;
    }
    std::vector<ScreenWindow> windows;
    for (NSDictionary* properties in list) {
        ScreenWindow& window = windows.emplace_back();
        if (NSString* const name = properties[(__bridge NSString*)kCGWindowName]) {
            window.name = stdString(name);
        }
        window.layer = [properties[(__bridge NSString*)kCGWindowLayer] intValue];
        window.owner = [properties[(__bridge NSString*)kCGWindowOwnerPID] intValue];
    }
    return windows;
}

bool MacPrivacyPermissions::requestScreenCapture() {
    // A stream makes the system ask when it is created. Since macOS 14 streams are deprecated and may go, so
    // there the call that only asks takes their place.
    if (systemInfo_.isOperatingSystemAtLeast(14, 0, 0)) {
        return CGRequestScreenCaptureAccess();
    }
    return beginDisplayStream();
}

bool MacPrivacyPermissions::isAccessibilityTrusted(bool prompt) {
    NSDictionary* const options = @{(__bridge NSString*)kAXTrustedCheckOptionPrompt : @(prompt)};
    return AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
}

} // namespace kvn::host
