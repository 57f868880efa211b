#pragma once

#include <string>

namespace kvn::host {

/// Why an operation failed.
struct Error {
    std::string domain;
    int code = 0;
    std::string reason;

    std::string description() const { return reason + " (" + domain + " " + std::to_string(code) + ")"; }
};

} // namespace kvn::host
