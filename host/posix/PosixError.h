#pragma once

#include "host/Error.h"

#include <string>
#include <system_error>

namespace kvn::host {

/// The error of an `errno` value, in the domain "posix"; the reason names what failed where that is not
/// plain to the caller.
inline Error posixError(int code, const std::string& subject = {}) {
    const std::string reason = std::generic_category().message(code);
    return {"posix", code, subject.empty() ? reason : subject + ": " + reason};
}

} // namespace kvn::host
