// SPDX-License-Identifier: MIT

#include "host/posix/TaskSchedule.h"

#include <algorithm>

namespace kvn::host {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct TaskSchedule::Timer {
    Timer(milliseconds i, Task t) : interval(i), task(std::move(t)) {}
    const milliseconds interval;
    const Task task;
    Key nextTick;
};

TaskSchedule::~TaskSchedule() {
    // `dropped` is destroyed after the lock is released, because the destructor of an object that a task
    // holds may use the loop.
    std::map<Key, Task> dropped;
    Kvs::FLockGuard guard(lock_);
    dropped.swap(tasks_);
}

MainLoop::Handle TaskSchedule::startTimer(milliseconds interval, Task task) {
    class Running final : public MainLoop::Registration {
    public:
        Running(TaskSchedule& schedule, std::shared_ptr<Timer> timer)
            : schedule_(schedule), timer_(std::move(timer)) {}
        ~Running() override { schedule_.remove(timer_->nextTick); }

    private:
        TaskSchedule& schedule_;
        const std::shared_ptr<Timer> timer_;
    };
    auto timer = std::make_shared<Timer>(std::max(interval, milliseconds(1)), std::move(task));
    scheduleTick(timer, steady_clock::now() + timer->interval);
    return std::make_unique<Running>(*this, std::move(timer));
}

void TaskSchedule::scheduleTick(const std::shared_ptr<Timer>& timer, Instant due) {
    timer->nextTick = insert(due, [this, timer, due] {
        // Scheduled before the task runs: the task may end the timer, which removes the tick by its key.
        const auto missed = (steady_clock::now() - due) / timer->interval;
        scheduleTick(timer, due + (missed + 1) * timer->interval);
        timer->task();
    });
}

TaskSchedule::Key TaskSchedule::insert(Instant due, Task task) {
    bool asleep = false;
    Key key;
    {
        Kvs::FLockGuard guard(lock_);
        const auto added = tasks_.emplace(Key(due, sequence_++), std::move(task)).first;
        asleep = sleeping_ && added == tasks_.begin();
        sleeping_ = sleeping_ && !asleep;
        key = added->first;
    }
    if (asleep) {
        wakePipe_.wake(); // without the lock, which the loop takes as soon as it is awake
    }
    return key;
}

void TaskSchedule::remove(Key key) {
    decltype(tasks_)::node_type dropped; // destroyed after the lock is released, as in the destructor
    Kvs::FLockGuard guard(lock_);
    dropped = tasks_.extract(key);
}

TaskSchedule::Task TaskSchedule::takeDueBy(Instant limit) {
    Kvs::FLockGuard guard(lock_);
    const auto first = tasks_.begin();
    if (first == tasks_.end() || first->first.first > limit) {
        return nullptr;
    }
    Task task = std::move(first->second);
    tasks_.erase(first);
    return task;
}

/// Sets `sleeping_` in the step that reads the schedule, so that `insert` wakes the loop for every earlier
/// task that is added from now on.
std::optional<milliseconds> TaskSchedule::prepareSleep() {
    Kvs::FLockGuard guard(lock_);
    if (tasks_.empty()) {
        sleeping_ = true;
        return std::nullopt;
    }
    const auto rest = std::chrono::ceil<milliseconds>(tasks_.begin()->first.first - steady_clock::now());
    sleeping_ = rest.count() > 0;
    return std::max(rest, milliseconds(0));
}

void TaskSchedule::endSleep() {
    Kvs::FLockGuard guard(lock_);
    sleeping_ = false;
}

} // namespace kvn::host
