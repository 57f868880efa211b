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
    /// Whose process session a launched program belongs to.
    enum class Session { Agent, Own };

    /// What a program that has ended left behind.
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

    /// Starts the program with the arguments behind its path, and goes on. The child gets an empty
    /// standard input, the agent's standard output and error, default signal handling and no other
    /// descriptor; its end is noticed, so that no zombie stays. Returns the process id, or why the
    /// program could not be started. Any thread.
    virtual std::variant<pid_t, Error> launch(const std::string& path,
                                              const std::vector<std::string>& arguments,
                                              Session session = Session::Agent) = 0;

    /// Starts the program, which is told of lines without an end ($COLUMNS), and waits for its end. One that
    /// takes longer than the limit, or until the program is about to end, is killed, which is an error. Any
    /// thread that may block.
    virtual std::variant<Outcome, Error> run(const std::string& path,
                                             const std::vector<std::string>& arguments, Limits limits) = 0;
};

} // namespace kvn::host
