// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"

#import <Foundation/Foundation.h>
#include <chrono>
#include <string>
#include <string_view>

namespace kvn::host {

/// Returns the text as the system's string. Bytes that are not UTF-8 are read as Latin 1, in which every byte
/// is a character: a text with an error is shown, and never nil.
NSString* nsString(std::string_view text);

/// Returns the string in UTF-8; an empty one for nil, or for half a surrogate pair, which UTF-8 cannot hold.
std::string stdString(NSString* text);

/// Returns the system's error; one of the domain `fallbackDomain` if the system gives none.
Error errorOf(NSError* error, const char* fallbackDomain);

NSDate* nsDate(std::chrono::system_clock::time_point time);
std::chrono::system_clock::time_point timePoint(NSDate* date);

} // namespace kvn::host
