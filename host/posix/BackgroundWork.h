// SPDX-License-Identifier: MIT

#pragma once

#include "host/Host.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/SystemTime.h"
#include "host/posix/ThreadWorkQueue.h"

#include <memory>
#include <utility>

namespace kvn::host {

/// Fills in the members of the host that work beside the main thread, and the function that ends their work.
/// The backend's own `Jobs` have an `interrupt()` for any thread. Main thread.
template <class Jobs>
void addBackgroundWork(Host& host, std::unique_ptr<PosixProcessRunner> runner, std::unique_ptr<Jobs> jobs) {
    auto sleeper = std::make_unique<InterruptibleSleeper>();
    auto queue = std::make_unique<ThreadWorkQueue>();
    auto toolQueue = std::make_unique<ThreadWorkQueue>();
    host.endBackgroundWork = [runner = runner.get(), sleeper = sleeper.get(), jobs = jobs.get(),
                              queue = queue.get(), toolQueue = toolQueue.get()] {
        // What a job may wait for ends first: the end of a queue waits for the job in progress.
        runner->endRuns();
        sleeper->interrupt();
        jobs->interrupt();
        queue->end();
        toolQueue->end();
    };
    host.processRunner = std::move(runner);
    host.sleeper = std::move(sleeper);
    host.privilegedJobs = std::move(jobs);
    host.workQueue = std::move(queue);
    host.toolQueue = std::move(toolQueue);
}

} // namespace kvn::host
