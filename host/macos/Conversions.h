#pragma once
#include "host/Error.h"
#include "host/PropertyList.h"
#import <Foundation/Foundation.h>
#include <optional>
#include <string>

namespace kvn::host {

inline NSString* nsString(std::string_view text) {
    NSString* const made = [[NSString alloc] initWithBytes:text.data()
                                                    length:text.size()
                                                  encoding:NSUTF8StringEncoding];
    return made ? made : @"";
}
inline std::string stdString(NSString* text) {
    const char* const bytes = text.UTF8String;
    return bytes ? bytes : "";
}
Error errorOf(NSError* error, const char* fallbackDomain);
std::optional<PropertyValue> propertyValue(id object);
id plistObject(const PropertyValue& value);
NSDate* nsDate(std::chrono::system_clock::time_point time);
std::chrono::system_clock::time_point timePoint(NSDate* date);

} // namespace kvn::host
