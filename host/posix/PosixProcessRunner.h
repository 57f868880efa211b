// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "host/ProcessRunner.h"
#include "host/posix/PollUntil.h"

#include <set>

namespace kvn::host {

/// Starts programs with posix_spawn(3). Launched programs are reaped on SIGCHLD, other children of this
/// process are not; `run` reaps its own. Errors have the domain "posix" and an errno value: ETIMEDOUT for a
/// run that took too long, ECANCELED for one that `endRuns` ended.
class PosixProcessRunner final : public ProcessRunner {
public:
    /// Called on the main thread, as the destructor is. The destructor must not be called while a run is in
    /// progress.
    explicit PosixProcessRunner(MainLoop& mainLoop);

    std::variant<pid_t, Error> launch(const std::string& path, const std::vector<std::string>& arguments,
                                      Output output = Output::Shared) override;

    /// The program's process group is killed as a whole. Processes that it leaves behind are not waited for,
    /// even if they hold the standard output.
    std::variant<Outcome, Error> run(const std::string& path, const std::vector<std::string>& arguments,
                                     Limits limits) override;

    /// Kills the programs that are being run; later runs fail. Any thread.
    void endRuns() { end_.raise(); }

private:
    void reap();

    EndSignal end_;
    Kvs::FThreadLock lock_;
    std::set<pid_t> children_ KVS_GUARDED_BY(lock_);
    const MainLoop::Handle childSignal_; // the last member: `reap` uses those above
};

} // namespace kvn::host
