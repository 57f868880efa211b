// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"
#include "host/MainLoop.h"
#include "host/posix/TaskSchedule.h"

#include <atomic>
#include <poll.h>
#include <vector>

namespace kvn::host {

/// The main loop of a program without a toolkit. Sleeps in poll(2) until an event or a task is due.
/// Registrations must be destroyed before the loop.
class PollMainLoop final : public MainLoop {
public:
    /// Throws FException when the process has no descriptors left.
    PollMainLoop() = default;
    ~PollMainLoop() override = default;
    PollMainLoop(const PollMainLoop&) = delete;
    PollMainLoop& operator=(const PollMainLoop&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::milliseconds delay, Task task) override;
    Handle startTimer(std::chrono::milliseconds interval, Task task) override;
    /// Throws FException when the process has no descriptors left.
    Handle onSignal(int signal, Task task) override;
    Handle watchReadable(int descriptor, Task task) override;
    /// Returns at once when `quit` came first. Throws what a task has thrown.
    void run() override;
    void quit() override;

private:
    struct Watch;

    void runDue();
    void waitForEvents();

    Kvs::WakePipe wakePipe_;
    std::atomic<bool> quit_ = false;
    std::vector<std::shared_ptr<Watch>> watches_;
    std::vector<pollfd> polled_;       // kept to reuse its memory
    TaskSchedule schedule_{wakePipe_}; // destroyed first: what its tasks hold may use the loop
};

} // namespace kvn::host
