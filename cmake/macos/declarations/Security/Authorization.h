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
enum : AuthorizationFlags { kAuthorizationFlagDefaults = 0, kAuthorizationFlagInteractionAllowed = 1 };
enum : OSStatus { errAuthorizationCanceled = -60006 };
OSStatus AuthorizationCreate(const AuthorizationRights*, const AuthorizationEnvironment*, AuthorizationFlags,
                             AuthorizationRef*);
OSStatus AuthorizationFree(AuthorizationRef, AuthorizationFlags);
typedef void (^AuthorizationAsyncCallback)(OSStatus, AuthorizationRights*);
void AuthorizationCopyRightsAsync(AuthorizationRef, const AuthorizationRights*,
                                  const AuthorizationEnvironment*, AuthorizationFlags,
                                  AuthorizationAsyncCallback);
}
