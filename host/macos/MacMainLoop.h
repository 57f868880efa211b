// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"

#include <dispatch/dispatch.h>

namespace kvn::host {

/// The main thread's run loop: the application's where there is a window server, else a bare one. Tasks,
/// timers and descriptors use one queue of their own, which the main dispatch queue runs, and which is
/// suspended while the loop does not run. The quit Apple event is left to the workspace.
class MacMainLoop final : public MainLoop {
public:
    /// With an application, connects to the window server and finishes the application's launch. Without a
    /// window server that would end the process.
    explicit MacMainLoop(bool withApplication);
    ~MacMainLoop() override;
    MacMainLoop(const MacMainLoop&) = delete;
    MacMainLoop& operator=(const MacMainLoop&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::milliseconds delay, Task task) override;
    Handle startTimer(std::chrono::milliseconds interval, Task task) override;

    /// Throws FException, as `watchReadable` does, when the process has no descriptors left.
    Handle onSignal(int signal, Task task) override;
    Handle watchReadable(int descriptor, Task task) override;

    /// Returns at once when `quit` came first. Throws what a task has thrown.
    void run() override;
    void quit() override;

private:
    struct State;

    // Shared with the blocks that the system holds, which may outlive the loop.
    const std::shared_ptr<State> state_;
};

} // namespace kvn::host
