// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "tests/support/FakeClock.h"
#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <utility>

namespace kvn::test {

/// A main loop that runs on the fake clock and only when the test tells it to. The test's thread is
/// the main thread; `post`, `postAfter` and `quit` may come from any.
class ManualMainLoop : public host::MainLoop {
public:
    explicit ManualMainLoop(FakeClock& clock) : clock_(clock) {}

    void post(Task task) override { schedule(clock_.steadyNow(), std::move(task)); }
    void postAfter(std::chrono::milliseconds delay, Task task) override {
        schedule(clock_.steadyNow() + delay, std::move(task));
    }
    Handle startTimer(std::chrono::milliseconds interval, Task task) override {
        auto timer =
            std::make_shared<Timer>(std::max(interval, std::chrono::milliseconds(1)), std::move(task));
        scheduleTick(timer, clock_.steadyNow() + timer->interval);
        return std::make_unique<Ending>([this, timer] { unschedule(timer->nextTick); });
    }
    Handle onSignal(int signal, Task task) override { return record(signals_, signal, std::move(task)); }
    Handle watchReadable(int descriptor, Task task) override {
        return record(readers_, descriptor, std::move(task));
    }
    void run() override {
        waitUntil([this] { return quit_ || (runPending(), quit_.load()); }, std::chrono::hours(1));
        quit_ = false;
    }
    void quit() override { quit_ = true; }

    /// Runs what is due now, and what that posts.
    void runPending() {
        while (Task task = takeDueBy(clock_.steadyNow())) {
            task();
            if (quit_) {
                return;
            }
        }
    }

    /// Moves the clock forward, and runs what becomes due on the way at its time.
    void advance(std::chrono::milliseconds by) {
        const auto end = clock_.steadyNow() + by;
        while (Task task = takeDueBy(end)) {
            task();
        }
        moveClockTo(end);
    }

    /// Runs what other threads post until the condition holds; false after the (real) deadline.
    template <class Condition>
    bool runUntil(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
        return waitUntil(
            [&] {
                runPending();
                return condition();
            },
            deadline);
    }

    /// How many tasks wait for their time; a running timer is one of them.
    std::size_t scheduledCount() {
        Kvs::FLockGuard guard(lock_);
        return scheduled_.size();
    }

    /// Delivers a signal, or tells that a descriptor is readable; false when nobody asked for it.
    bool fireSignal(int signal) { return fire(signals_, signal); }
    bool fireReadable(int descriptor) { return fire(readers_, descriptor); }

private:
    using Instant = std::chrono::steady_clock::time_point;
    using Key = std::pair<Instant, std::uint64_t>;
    using Tasks = std::map<int, std::shared_ptr<Task>>;

    struct Timer {
        Timer(std::chrono::milliseconds i, Task t) : interval(i), task(std::move(t)) {}
        const std::chrono::milliseconds interval;
        const Task task;
        Key nextTick;
    };

    class Ending : public Registration {
    public:
        explicit Ending(Task end) : end_(std::move(end)) {}
        ~Ending() override { end_(); }

    private:
        const Task end_;
    };

    Key schedule(Instant due, Task task) {
        Kvs::FLockGuard guard(lock_);
        return scheduled_.emplace(Key(due, sequence_++), std::move(task)).first->first;
    }

    void scheduleTick(const std::shared_ptr<Timer>& timer, Instant due) {
        timer->nextTick = schedule(due, [this, timer, due] {
            scheduleTick(timer, due + timer->interval);
            timer->task();
        });
    }

    void unschedule(Key key) {
        std::map<Key, Task>::node_type dropped; // destroyed without the lock
        Kvs::FLockGuard guard(lock_);
        dropped = scheduled_.extract(key);
    }

    Task takeDueBy(Instant limit) {
        Kvs::FLockGuard guard(lock_);
        const auto first = scheduled_.begin();
        if (first == scheduled_.end() || first->first.first > limit) {
            return nullptr;
        }
        moveClockTo(first->first.first);
        return std::move(scheduled_.extract(first).mapped());
    }

    void moveClockTo(Instant instant) {
        if (const auto by = instant - clock_.steadyNow(); by.count() > 0) {
            clock_.advance(std::chrono::duration_cast<std::chrono::milliseconds>(by));
        }
    }

    Handle record(Tasks& tasks, int key, Task task) {
        tasks[key] = std::make_shared<Task>(std::move(task));
        return std::make_unique<Ending>([&tasks, key] { tasks.erase(key); });
    }

    static bool fire(const Tasks& tasks, int key) {
        const auto found = tasks.find(key);
        if (found == tasks.end()) {
            return false;
        }
        const std::shared_ptr<Task> task = found->second; // may end its own registration
        (*task)();
        return true;
    }

    FakeClock& clock_;
    Kvs::FThreadLock lock_;
    std::map<Key, Task> scheduled_ KVS_GUARDED_BY(lock_);
    std::uint64_t sequence_ KVS_GUARDED_BY(lock_) = 0;
    std::atomic<bool> quit_ = false;
    Tasks signals_;
    Tasks readers_;
};

} // namespace kvn::test
