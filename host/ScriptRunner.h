// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"

#include <string>
#include <variant>

namespace kvn::host {

/// Runs scripts in the AppleScript language, which control other applications.
class ScriptRunner {
public:
    virtual ~ScriptRunner() = default;

    /// Runs the source to its end. Returns a description of its result, or an error. Any thread but the main
    /// one; blocks until the applications have answered.
    virtual std::variant<std::string, Error> run(const std::string& source) = 0;
};

} // namespace kvn::host
