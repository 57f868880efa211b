// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <system_error>

namespace kvn::host {

/// The reason why an operation failed.
struct Error {
    std::string domain;
    int code = 0;
    std::string reason;

    std::string description() const { return reason + " (" + domain + " " + std::to_string(code) + ")"; }
};

/// Returns the error of an `errno` value, in the domain "posix". `subject` names the object that failed, if
/// the caller does not know it.
inline Error posixError(int code, const std::string& subject = {}) {
    const std::string reason = std::generic_category().message(code);
    return {"posix", code, subject.empty() ? reason : subject + ": " + reason};
}

} // namespace kvn::host
