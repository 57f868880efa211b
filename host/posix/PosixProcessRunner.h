#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "host/ProcessRunner.h"
#include "host/posix/PollUntil.h"

#include <set>

namespace kvn::host {

/// Starts programs with posix_spawn(3). Launched ones are reaped, and nobody else's children, on SIGCHLD;
/// one that is run is reaped by its caller. Errors have the domain "posix" and an errno value: ETIMEDOUT
/// and ECANCELED for a run that took too long or that the program's end cut off.
class PosixProcessRunner final : public ProcessRunner {
public:
    /// Main thread, as its destruction, when no run is in progress any more.
    explicit PosixProcessRunner(MainLoop& mainLoop);

    std::variant<pid_t, Error> launch(const std::string& path, const std::vector<std::string>& arguments,
                                      Session session = Session::Agent) override;

    /// The program runs in a process group of its own, which is killed as a whole. What it leaves behind
    /// is not waited for, even if it holds the standard output.
    std::variant<Outcome, Error> run(const std::string& path, const std::vector<std::string>& arguments,
                                     Limits limits) override;

    /// Kills the programs that are being run, and lets no other one run from now on. Any thread.
    void endRuns() { end_.raise(); }

private:
    void reap();

    EndSignal end_;
    Kvs::FThreadLock lock_;
    std::set<pid_t> children_ KVS_GUARDED_BY(lock_);
    const MainLoop::Handle childSignal_;
};

} // namespace kvn::host
