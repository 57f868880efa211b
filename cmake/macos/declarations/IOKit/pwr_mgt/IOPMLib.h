// SPDX-License-Identifier: MIT

#pragma once
#include <IOKit/IOKitLib.h>
extern "C" {
typedef uint32_t IOPMAssertionID;
typedef uint32_t IOPMAssertionLevel;
typedef uint32_t IOPMUserActiveType;
enum { kIOPMAssertionLevelOff = 0, kIOPMAssertionLevelOn = 255 };
enum { kIOPMUserActiveLocal = 0, kIOPMUserActiveRemote = 1 };
#define kIOPMAssertionTypePreventUserIdleDisplaySleep CFSTR("PreventUserIdleDisplaySleep")
IOReturn IOPMAssertionCreateWithName(CFStringRef type, IOPMAssertionLevel, CFStringRef name, IOPMAssertionID*)
    API_AVAILABLE(macos(10.6));
IOReturn IOPMAssertionDeclareUserActivity(CFStringRef name, IOPMUserActiveType, IOPMAssertionID*)
    API_AVAILABLE(macos(10.7));
IOReturn IOPMAssertionRelease(IOPMAssertionID);
io_connect_t IORegisterForSystemPower(void* context, IONotificationPortRef*, IOServiceInterestCallback,
                                      io_object_t* notifier);
IOReturn IODeregisterForSystemPower(io_object_t* notifier);
IOReturn IOAllowPowerChange(io_connect_t, intptr_t notification);
IOReturn IOCancelPowerChange(io_connect_t, intptr_t notification);
}
