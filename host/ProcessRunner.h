// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace kvn::host {

/// Starts programs.
class ProcessRunner {
public:
    /// The process session of a launched program: the agent's, or its own. A program in its own session may
    /// outlive the agent, so it gets "/" as its working directory, and its output goes to /dev/null.
    enum class Session { Agent, Own };

    /// The result of a program that has ended.
    struct Outcome {
        int exitStatus = 0; // 128 + the signal's number for one that a signal ended
        std::string output; // standard output and error, each cut at the limit
        std::string errors;
    };

    struct Limits {
        std::chrono::milliseconds time;
        std::size_t bytes;
    };

    virtual ~ProcessRunner() = default;

    /// Starts the program with its arguments and does not wait. The child gets an empty standard input, in
    /// the agent's session the agent's standard output and error, default signal handling and no other
    /// descriptor; it is reaped when it ends. Returns the process id, or an error if the program could not be
    /// started. Any thread.
    virtual std::variant<pid_t, Error> launch(const std::string& path,
                                              const std::vector<std::string>& arguments,
                                              Session session = Session::Agent) = 0;

    /// Starts the program with a very large $COLUMNS and waits for its end. A program that exceeds the time
    /// limit, or still runs when the agent ends, is killed; this is an error. Any thread that may block.
    virtual std::variant<Outcome, Error> run(const std::string& path,
                                             const std::vector<std::string>& arguments, Limits limits) = 0;
};

} // namespace kvn::host
