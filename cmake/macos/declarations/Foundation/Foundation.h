// SPDX-License-Identifier: MIT

#pragma once
#import <CoreFoundation/CoreFoundation.h>
#include <CoreGraphicsTypes.h>
#import <objc/NSObject.h>
@class NSArray<T>, NSDictionary<K, V>, NSError, NSURL, NSDate, NSData, NSNumber;
typedef CGPoint NSPoint;
typedef CGSize NSSize;
typedef CGRect NSRect;
extern "C" const NSPoint NSZeroPoint;
extern "C" const NSRect NSZeroRect;
static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return {{x, y}, {w, h}}; }
typedef struct NSEdgeInsets {
    CGFloat top, left, bottom, right;
} NSEdgeInsets;
static inline NSEdgeInsets NSEdgeInsetsMake(CGFloat t, CGFloat l, CGFloat b, CGFloat r) {
    return {t, l, b, r};
}
typedef double NSTimeInterval;
typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding { NSUTF8StringEncoding = 4, NSISOLatin1StringEncoding = 5 };
typedef struct {
    unsigned long state;
    id __unsafe_unretained* itemsPtr;
    unsigned long* mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;
@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained[])buffer
                                    count:(NSUInteger)length;
@end
@protocol NSCopying
@end
@interface NSObject (Copying)
- (id)copy;
@end
@interface NSString : NSObject <NSCopying>
@property(readonly) const char* UTF8String __attribute__((objc_returns_inner_pointer))
; // else ARC may release too early
@property(readonly) NSInteger integerValue;
- (instancetype)initWithBytes:(const void*)bytes
                       length:(NSUInteger)length
                     encoding:(NSStringEncoding)encoding;
+ (instancetype)stringWithFormat:(NSString*)format, ... __attribute__((format(__NSString__, 1, 2)));
- (BOOL)isEqualToString:(NSString*)other;
- (NSArray<NSString*>*)componentsSeparatedByString:(NSString*)separator;
@end
@interface NSNumber : NSObject
@property(readonly) BOOL boolValue;
@property(readonly) int intValue;
@property(readonly) double doubleValue;
@property(readonly) long long longLongValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) NSString* stringValue;
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithInteger:(NSInteger)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithUnsignedLongLong:(unsigned long long)value;
+ (NSNumber*)numberWithDouble:(double)value;
@end
@interface NSArray<T> : NSObject <NSFastEnumeration>
@property(readonly) NSUInteger count;
@property(readonly) T lastObject;
- (T)objectAtIndexedSubscript:(NSUInteger)index;
+ (instancetype)arrayWithObjects:(const T[])objects count:(NSUInteger)count;
@end
@interface NSMutableArray<T> : NSArray <T>
+ (instancetype)array;
- (void)addObject:(T)object;
@end
@interface NSDictionary<K, V> : NSObject <NSFastEnumeration>
- (V)objectForKeyedSubscript:(K)key;
+ (instancetype)dictionaryWithObjects:(const V[])objects forKeys:(const K[])keys count:(NSUInteger)count;
@end
@interface NSMutableDictionary<K, V> : NSDictionary <K, V>
+ (instancetype)dictionary;
- (void)setObject:(V)object forKeyedSubscript:(K)key;
@end
@interface NSData : NSObject
@property(readonly) const void* bytes __attribute__((objc_returns_inner_pointer));
@property(readonly) NSUInteger length;
+ (instancetype)dataWithBytes:(const void*)bytes length:(NSUInteger)length;
@end
@interface NSDate : NSObject
@property(readonly) NSTimeInterval timeIntervalSince1970;
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)seconds;
@end
@interface NSError : NSObject
@property(readonly) NSString* domain;
@property(readonly) NSInteger code;
@property(readonly) NSString* localizedDescription;
@end
@interface NSURL : NSObject
@property(readonly) NSString* path;
@property(readonly) NSURL* URLByDeletingLastPathComponent;
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (NSURL*)URLWithString:(NSString*)text;
@end
@interface NSBundle : NSObject
@property(class, readonly) NSBundle* mainBundle;
@property(readonly) NSString* bundlePath;
@end
@interface NSLocale : NSObject
@property(class, readonly) NSArray<NSString*>* preferredLanguages;
@end
typedef struct {
    NSInteger majorVersion, minorVersion, patchVersion;
} NSOperatingSystemVersion;
typedef uint64_t NSActivityOptions;
enum : NSActivityOptions { NSActivityUserInitiatedAllowingIdleSystemSleep = 0xEFFFFF };
@interface NSProcessInfo : NSObject
@property(class, readonly) NSProcessInfo* processInfo;
- (BOOL)isOperatingSystemAtLeastVersion:(NSOperatingSystemVersion)version API_AVAILABLE(macos(10.10));
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options
                                  reason:(NSString*)reason API_AVAILABLE(macos(10.9));
@end
extern "C" NSString* NSUserName(void);
typedef NSUInteger NSPropertyListMutabilityOptions;
typedef NSUInteger NSPropertyListFormat;
enum : NSUInteger { NSPropertyListImmutable = 0, NSPropertyListXMLFormat_v1_0 = 100 };
@interface NSPropertyListSerialization : NSObject
+ (NSData*)dataWithPropertyList:(id)list
                         format:(NSPropertyListFormat)format
                        options:(NSUInteger)options
                          error:(NSError**)error;
+ (id)propertyListWithData:(NSData*)data
                   options:(NSPropertyListMutabilityOptions)options
                    format:(NSPropertyListFormat*)format
                     error:(NSError**)error;
@end
@interface NSNotification : NSObject
@property(readonly) NSString* name;
@property(readonly) id object;
@property(readonly) NSDictionary* userInfo;
@end
@class NSOperationQueue;
@interface NSNotificationCenter : NSObject
@property(class, readonly) NSNotificationCenter* defaultCenter;
- (id)addObserverForName:(NSString*)name
                  object:(id)object
                   queue:(NSOperationQueue*)queue
              usingBlock:(void (^)(NSNotification*))block;
- (void)removeObserver:(id)observer;
@end
enum : NSUInteger { NSNotificationSuspensionBehaviorDeliverImmediately = 4 };
@interface NSDistributedNotificationCenter : NSNotificationCenter
+ (NSDistributedNotificationCenter*)defaultCenter;
- (void)addObserver:(id)observer
              selector:(SEL)selector
                  name:(NSString*)name
                object:(NSString*)object
    suspensionBehavior:(NSUInteger)behavior;
- (void)postNotificationName:(NSString*)name
                      object:(NSString*)object
                    userInfo:(NSDictionary*)info
          deliverImmediately:(BOOL)immediately;
@end
@interface NSAppleEventDescriptor : NSObject
@end
@interface NSAppleEventManager : NSObject
+ (NSAppleEventManager*)sharedAppleEventManager;
- (void)setEventHandler:(id)handler
            andSelector:(SEL)selector
          forEventClass:(UInt32)eventClass
             andEventID:(UInt32)eventId;
- (void)removeEventHandlerForEventClass:(UInt32)eventClass andEventID:(UInt32)eventId;
@end
enum : UInt32 { kCoreEventClass = 'aevt', kAEQuitApplication = 'quit' };
__attribute__((ns_returns_autoreleased)) static inline id
CFBridgingRelease(CFTypeRef __attribute__((cf_consumed)) ref) {
    return (__bridge_transfer id)ref;
}
@interface NSArray <T>(Members)
- (NSArray<T>*)arrayByAddingObjectsFromArray:(NSArray<T>*)other;
- (NSUInteger)indexOfObject:(T)object;
@end
@interface NSDate (Comparison)
- (BOOL)isEqualToDate:(NSDate*)other;
@end
@interface NSURL (Folders)
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDirectory;
@end
@interface NSNotificationCenter (Selectors)
- (void)addObserver:(id)observer selector:(SEL)selector name:(NSString*)name object:(id)object;
@end
