// SPDX-License-Identifier: MIT

#include "host/macos/Conversions.h"

namespace kvn::host {

using std::chrono::system_clock;
using Seconds = std::chrono::duration<double>;

NSString* nsString(std::string_view text) {
    const auto read = [text](NSStringEncoding encoding) {
        return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:encoding];
    };
    NSString* const made = read(NSUTF8StringEncoding);
    return made ? made : read(NSISOLatin1StringEncoding);
}

std::string stdString(NSString* text) {
    const char* const bytes = text.UTF8String;
    return bytes ? bytes : "";
}

Error errorOf(NSError* error, const char* fallbackDomain) {
    if (!error) {
        return {fallbackDomain, 0, "the system gives no reason"};
    }
    return {stdString(error.domain), static_cast<int>(error.code), stdString(error.localizedDescription)};
}

NSDate* nsDate(system_clock::time_point time) {
    return [NSDate dateWithTimeIntervalSince1970:Seconds(time.time_since_epoch()).count()];
}

system_clock::time_point timePoint(NSDate* date) {
    return system_clock::time_point(
        std::chrono::duration_cast<system_clock::duration>(Seconds(date.timeIntervalSince1970)));
}

} // namespace kvn::host
