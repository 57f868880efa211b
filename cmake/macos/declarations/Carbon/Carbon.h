// SPDX-License-Identifier: MIT

#pragma once
#include <MacTypes.h>
extern "C" {
typedef struct OpaqueEventRef* EventRef;
typedef struct OpaqueEventHandlerRef* EventHandlerRef;
typedef struct OpaqueEventHandlerCallRef* EventHandlerCallRef;
typedef struct OpaqueEventTargetRef* EventTargetRef;
typedef struct OpaqueEventHotKeyRef* EventHotKeyRef;
typedef OSStatus (*EventHandlerUPP)(EventHandlerCallRef, EventRef, void*);
struct EventTypeSpec {
    UInt32 eventClass, eventKind;
};
struct EventHotKeyID {
    UInt32 signature, id;
};
enum : UInt32 { kEventClassKeyboard = 'keyb', kEventHotKeyPressed = 5, kEventHotKeyReleased = 6 };
enum : SInt32 { eventNotHandledErr = -9874 };
EventTargetRef GetApplicationEventTarget(void);
UInt32 GetEventKind(EventRef);
OSStatus InstallEventHandler(EventTargetRef, EventHandlerUPP, unsigned long count, const EventTypeSpec*,
                             void* context, EventHandlerRef*);
OSStatus RemoveEventHandler(EventHandlerRef);
OSStatus RegisterEventHotKey(UInt32 code, UInt32 modifiers, EventHotKeyID, EventTargetRef, UInt32 options,
                             EventHotKeyRef*);
OSStatus UnregisterEventHotKey(EventHotKeyRef);
}
