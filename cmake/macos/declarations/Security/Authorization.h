// SPDX-License-Identifier: MIT

#pragma once
#include <MacTypes.h>
#include <stddef.h>
extern "C" {
typedef const struct AuthorizationOpaqueRef* AuthorizationRef;
typedef UInt32 AuthorizationFlags;
typedef struct {
    const char* name;
    size_t valueLength;
    void* value;
    UInt32 flags;
} AuthorizationItem;
typedef struct {
    UInt32 count;
    AuthorizationItem* items;
} AuthorizationItemSet;
typedef AuthorizationItemSet AuthorizationRights;
typedef AuthorizationItemSet AuthorizationEnvironment;
#define kAuthorizationEmptyEnvironment nullptr
enum : AuthorizationFlags {
    kAuthorizationFlagDefaults = 0,
    kAuthorizationFlagInteractionAllowed = 1,
    kAuthorizationFlagExtendRights = 2,
    kAuthorizationFlagPreAuthorize = 16
};
enum : OSStatus {
    errAuthorizationDenied = -60005,
    errAuthorizationCanceled = -60006,
    errAuthorizationInteractionNotAllowed = -60007,
    errAuthorizationInternal = -60008
};
OSStatus AuthorizationCreate(const AuthorizationRights*, const AuthorizationEnvironment*, AuthorizationFlags,
                             AuthorizationRef*);
OSStatus AuthorizationFree(AuthorizationRef, AuthorizationFlags);
OSStatus AuthorizationFreeItemSet(AuthorizationItemSet*);
typedef void (^AuthorizationAsyncCallback)(OSStatus, AuthorizationRights*);
void AuthorizationCopyRightsAsync(AuthorizationRef, const AuthorizationRights*,
                                  const AuthorizationEnvironment*, AuthorizationFlags,
                                  AuthorizationAsyncCallback);
}
