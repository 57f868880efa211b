// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"
#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <map>
#include <poll.h>
#include <utility>
#include <vector>

namespace kvn::host {

/// The main loop of a program without a toolkit. Sleeps in poll(2) until an event or a task is due. A
/// repeating timer keeps its interval and skips the ticks that it missed. Registrations must be destroyed
/// before the loop.
class PollMainLoop final : public MainLoop {
public:
    /// Throws FException when the process has no descriptors left.
    PollMainLoop() = default;
    ~PollMainLoop() override;
    PollMainLoop(const PollMainLoop&) = delete;
    PollMainLoop& operator=(const PollMainLoop&) = delete;

    void post(Task task) override;
    void postAfter(std::chrono::milliseconds delay, Task task) override;
    Handle startTimer(std::chrono::milliseconds interval, Task task) override;
    Handle onSignal(int signal, Task task) override;
    Handle watchReadable(int descriptor, Task task) override;
    /// Returns at once when `quit` came first.
    void run() override;
    void quit() override;

private:
    using Instant = std::chrono::steady_clock::time_point;
    using Key = std::pair<Instant, std::uint64_t>; // tasks of one instant run in the order of the calls
    struct Timer;
    struct Watch;
    struct SignalWatch;
    class Ending;

    Key schedule(Instant due, Task task);
    void unschedule(Key key);
    Task takeDueBy(Instant limit);
    void scheduleTick(const std::shared_ptr<Timer>& timer, Instant due);

    void runDue();
    void waitForEvents();
    int prepareSleep();
    void deliverSignals();

    Kvs::WakePipe wakePipe_;
    Kvs::FThreadLock lock_;
    std::map<Key, Task> scheduled_ KVS_GUARDED_BY(lock_);
    std::uint64_t sequence_ KVS_GUARDED_BY(lock_) = 0;
    bool sleeping_ KVS_GUARDED_BY(lock_) = false;
    std::atomic<bool> quit_ = false;
    std::vector<std::shared_ptr<Watch>> watches_;
    std::vector<std::shared_ptr<SignalWatch>> signals_;
    std::vector<pollfd> polled_; // kept to reuse its memory
};

} // namespace kvn::host
