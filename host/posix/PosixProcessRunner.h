#pragma once

#include "host/MainLoop.h"
#include "host/ProcessRunner.h"

#include <set>

namespace kvn::host {

/// Starts programs with posix_spawn(3) and reaps them, and nobody else's children, on SIGCHLD.
class PosixProcessRunner final : public ProcessRunner {
public:
    explicit PosixProcessRunner(MainLoop& mainLoop);

    /// Errors have the domain "posix" and an errno value.
    std::variant<pid_t, Error> launch(const std::string& path,
                                      const std::vector<std::string>& arguments) override;

private:
    void reap();

    std::set<pid_t> children_;
    const MainLoop::Handle childSignal_;
};

} // namespace kvn::host
