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

/// Starts programs, each in a process session of its own: Ctrl-C and Ctrl-Z at the agent's terminal do not
/// reach them.
class ProcessRunner {
public:
    /// The standard output and error of a launched program: the agent's, or /dev/null. With /dev/null it also
    /// gets "/" as its working directory, so that it keeps nothing of an agent that it outlives.
    enum class Output { Shared, None };

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

    /// Starts the program with its arguments and does not wait. The child gets an empty standard input,
    /// default signal handling and no descriptor but 0 to 2; it is reaped when it ends. Returns the process
    /// id, or an error if the program could not be started. Any thread.
    virtual std::variant<pid_t, Error> launch(const std::string& path,
                                              const std::vector<std::string>& arguments,
                                              Output output = Output::Shared) = 0;

    /// Starts the program with a very large $COLUMNS and waits for its end. A program that exceeds the time
    /// limit, or still runs when the agent ends, is killed; this is an error. Any thread that may block.
    virtual std::variant<Outcome, Error> run(const std::string& path,
                                             const std::vector<std::string>& arguments, Limits limits) = 0;
};

} // namespace kvn::host
