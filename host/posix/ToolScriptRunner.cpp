#include "host/posix/ToolScriptRunner.h"

#include "core/text/Trim.h"

namespace kvn::host {

std::variant<std::string, Error> ToolScriptRunner::run(const std::string& source) {
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

} // namespace kvn::host
