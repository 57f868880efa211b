#pragma once

#include "host/ScriptRunner.h"

#include <cerrno>

namespace kvn::host {

/// A system without the language: every run fails.
class NoScriptRunner final : public ScriptRunner {
public:
    std::variant<std::string, Error> run(const std::string&) override {
        return Error{"posix", ENOTSUP, "AppleScript is not available"};
    }
};

} // namespace kvn::host
