// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/WakePipe.h"
#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace kvn::host {

/// The tasks of a main loop, each with the time at which it is due. Tasks that have not been taken when the
/// schedule is destroyed are dropped.
class TaskSchedule {
public:
    using Task = MainLoop::Task;
    using Instant = std::chrono::steady_clock::time_point;

    /// The most time for which due tasks keep the loop's descriptors and signals waiting.
    static constexpr std::chrono::milliseconds kTurn{10};

    /// The pipe, which is woken when a loop that sleeps has to look again, outlives the schedule.
    explicit TaskSchedule(const Kvs::WakePipe& wakePipe) : wakePipe_(wakePipe) {}
    ~TaskSchedule();
    TaskSchedule(const TaskSchedule&) = delete;
    TaskSchedule& operator=(const TaskSchedule&) = delete;

    /// Adds a task. Tasks of one instant are due in the order of the calls. Any thread.
    void add(Instant due, Task task) { insert(due, std::move(task)); }

    /// Adds a task that is due every `interval`; ticks that the loop missed are skipped. Main thread; the
    /// registration ends before the schedule.
    MainLoop::Handle startTimer(std::chrono::milliseconds interval, Task task);

    /// Takes the earliest task out of the schedule; returns null if it is due after the limit. Main thread.
    Task takeDueBy(Instant limit);

    /// Called before the loop sleeps. Returns how long it may sleep, rounded up so that it does not wake just
    /// before a task is due; nullopt for as long as it likes. From now until `endSleep`, the pipe is woken
    /// once if a task is added that is due earlier. Main thread.
    std::optional<std::chrono::milliseconds> prepareSleep();
    void endSleep();

private:
    using Key = std::pair<Instant, std::uint64_t>;
    struct Timer;

    Key insert(Instant due, Task task);
    void remove(Key key);
    void scheduleTick(const std::shared_ptr<Timer>& timer, Instant due);

    const Kvs::WakePipe& wakePipe_;
    Kvs::FThreadLock lock_;
    std::map<Key, Task> tasks_ KVS_GUARDED_BY(lock_);
    std::uint64_t sequence_ KVS_GUARDED_BY(lock_) = 0;
    bool sleeping_ KVS_GUARDED_BY(lock_) = false;
};

} // namespace kvn::host
