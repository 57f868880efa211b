// SPDX-License-Identifier: MIT

#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>
#pragma clang arc_cf_code_audited begin
extern "C" {
typedef const struct CF_BRIDGED_TYPE(id) __SCDynamicStore* SCDynamicStoreRef;
typedef struct {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} SCDynamicStoreContext;
typedef void (*SCDynamicStoreCallBack)(SCDynamicStoreRef, CFArrayRef changedKeys, void* info);
SCDynamicStoreRef SCDynamicStoreCreate(CFAllocatorRef, CFStringRef name, SCDynamicStoreCallBack,
                                       SCDynamicStoreContext*);
Boolean SCDynamicStoreSetNotificationKeys(SCDynamicStoreRef, CFArrayRef keys, CFArrayRef patterns);
Boolean SCDynamicStoreSetDispatchQueue(SCDynamicStoreRef, dispatch_queue_t);
CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef, uid_t*, gid_t*);
CFStringRef SCDynamicStoreKeyCreateConsoleUser(CFAllocatorRef);
int SCError(void);
const char* SCErrorString(int status);
}
#pragma clang arc_cf_code_audited end
