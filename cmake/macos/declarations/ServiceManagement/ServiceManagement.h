// SPDX-License-Identifier: MIT

#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Authorization.h>
#pragma clang arc_cf_code_audited begin
extern "C" {
extern const CFStringRef kSMDomainSystemLaunchd API_AVAILABLE(macos(10.6));
Boolean SMJobBless(CFStringRef domain, CFStringRef label, AuthorizationRef,
                   CFErrorRef* CF_RETURNS_RETAINED error)
    API_DEPRECATED("SMAppService registers jobs", macos(10.6, 13.0));
CFDictionaryRef SMJobCopyDictionary(CFStringRef domain, CFStringRef label)
    API_DEPRECATED("without a replacement", macos(10.6, 10.10));
}
#pragma clang arc_cf_code_audited end
