// SPDX-License-Identifier: MIT

#include "host/macos/MacInput.h"

#include "core/logging/CNSLog.h"

#import <AppKit/AppKit.h>
#include <utility>

namespace kvn::host {

static_assert(HotKeys::kPressed == static_cast<UInt32>(kEventHotKeyPressed));
static_assert(HotKeys::kReleased == static_cast<UInt32>(kEventHotKeyReleased));
static_assert(HotKeys::kNotHandled == eventNotHandledErr);

Point MacPointer::location() const {
    const NSPoint location = NSEvent.mouseLocation;
    return {location.x, location.y};
}

// The screen of the origin, while NSScreen's main screen is the one with the active window.
double MacPointer::mainScreenHeight() const { return CGDisplayBounds(CGMainDisplayID()).size.height; }

void MacPointer::postMove(Point to) {
    CGEventRef const event =
        CGEventCreateMouseEvent(nullptr, kCGEventMouseMoved, CGPointMake(to.x, to.y), kCGMouseButtonLeft);
    if (!event) {
        Kvs::CNSLog("The system made no event for the pointer");
        return;
    }
    CGEventPost(kCGSessionEventTap, event);
    CFRelease(event);
}

MacHotKeys::~MacHotKeys() {
    if (installed_) {
        RemoveEventHandler(installed_);
    }
}

OSStatus MacHotKeys::receive(EventHandlerCallRef, EventRef event, void* self) noexcept {
    return static_cast<MacHotKeys*>(self)->handler_(GetEventKind(event));
}

std::int32_t MacHotKeys::installHandler(Handler handler) {
    handler_ = std::move(handler);
    if (installed_) {
        return 0;
    }
    constexpr EventTypeSpec kTypes[] = {{kEventClassKeyboard, kEventHotKeyPressed},
                                        {kEventClassKeyboard, kEventHotKeyReleased}};
    return InstallEventHandler(GetApplicationEventTarget(), &MacHotKeys::receive, std::size(kTypes), kTypes,
                               this, &installed_);
}

std::int32_t MacHotKeys::registerHotKey(const Key& key, Reference& reference) {
    EventHotKeyRef registered = nullptr;
    const OSStatus result = RegisterEventHotKey(key.code, key.modifiers, EventHotKeyID{key.signature, key.id},
                                                GetApplicationEventTarget(), 0, &registered);
    reference = reinterpret_cast<Reference>(registered);
    return result;
}

void MacHotKeys::unregisterHotKey(Reference reference) {
    if (reference != 0) {
        UnregisterEventHotKey(reinterpret_cast<EventHotKeyRef>(reference));
    }
}

} // namespace kvn::host
