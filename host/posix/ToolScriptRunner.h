// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/TextFunctions.h"
#include "host/ProcessRunner.h"
#include "host/ScriptRunner.h"

#include <string>
#include <utility>
#include <variant>

namespace kvn::host {

/// Runs scripts with a program of the system that takes the source behind "-e", prints the result and fails
/// with a text on its standard error, as osascript(1) does. The program may run on any thread, which the
/// system's own library may not. A script that takes longer than two minutes, the time that the system gives
/// an application for its answer, is ended and has failed.
class ToolScriptRunner final : public ScriptRunner {
public:
    /// `tool` is the program's path. The process runner outlives this object.
    ToolScriptRunner(ProcessRunner& processRunner, std::string tool)
        : processRunner_(processRunner), tool_(std::move(tool)) {}

    /// Errors are the process runner's, or have the domain "script" and the program's exit status.
    std::variant<std::string, Error> run(const std::string& source) override {
        constexpr ProcessRunner::Limits kLimits{std::chrono::minutes(2), std::size_t{64} << 10};
        const auto result = processRunner_.run(tool_, {"-e", source}, kLimits);
        if (const auto* error = std::get_if<Error>(&result)) {
            return *error;
        }
        const auto& outcome = std::get<ProcessRunner::Outcome>(result);
        if (outcome.exitStatus != 0) {
            return Error{"script", outcome.exitStatus, std::string(Kvs::fTrimmed(outcome.errors))};
        }
        return std::string(Kvs::fTrimmed(outcome.output));
    }

private:
    ProcessRunner& processRunner_;
    const std::string tool_;
};

} // namespace kvn::host
