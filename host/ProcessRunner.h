#pragma once

#include "host/Error.h"

#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace kvn::host {

/// Starts programs.
class ProcessRunner {
public:
    virtual ~ProcessRunner() = default;

    /// Starts the program with the arguments behind its path, and goes on. The child gets an empty
    /// standard input, the agent's standard output and error, default signal handling and no other
    /// descriptor; its end is noticed, so that no zombie stays. Returns the process id, or why the
    /// program could not be started. Main thread.
    virtual std::variant<pid_t, Error> launch(const std::string& path,
                                              const std::vector<std::string>& arguments) = 0;
};

} // namespace kvn::host
