// SPDX-License-Identifier: MIT

#include "host/posix/PollMainLoop.h"

#include "core/logging/CNSLog.h"
#include "host/posix/Signals.h"

#include <algorithm>
#include <climits>
#include <optional>

namespace kvn::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The most time for which due tasks keep the descriptors and signals waiting.
constexpr milliseconds kTurn{10};

} // namespace

struct PollMainLoop::Timer {
    Timer(milliseconds i, Task t) : interval(i), task(std::move(t)) {}
    const milliseconds interval;
    const Task task;
    Key nextTick;
};

struct PollMainLoop::Watch {
    Watch(int d, Task t) : descriptor(d), task(std::move(t)) {}
    const int descriptor;
    const Task task;
    bool active = true;
};

struct PollMainLoop::SignalWatch {
    SignalWatch(int signal, Kvs::WakePipe& wakePipe, Task t)
        : inbox(std::in_place, signal, wakePipe), task(std::move(t)) {}
    std::optional<SignalInbox> inbox; // empty once the registration has ended
    const Task task;
};

class PollMainLoop::Ending : public Registration {
public:
    explicit Ending(Task end) : end_(std::move(end)) {}
    ~Ending() override { end_(); }

private:
    const Task end_;
};

PollMainLoop::~PollMainLoop() {
    // `dropped` is destroyed after the lock is released, because the destructor of an object that a task
    // holds may call the loop.
    std::map<Key, Task> dropped;
    Kvs::FLockGuard guard(lock_);
    dropped.swap(scheduled_);
}

void PollMainLoop::post(Task task) { schedule(steady_clock::now(), std::move(task)); }

void PollMainLoop::postAfter(milliseconds delay, Task task) {
    schedule(steady_clock::now() + delay, std::move(task));
}

MainLoop::Handle PollMainLoop::startTimer(milliseconds interval, Task task) {
    auto timer = std::make_shared<Timer>(std::max(interval, milliseconds(1)), std::move(task));
    scheduleTick(timer, steady_clock::now() + timer->interval);
    return std::make_unique<Ending>([this, timer] { unschedule(timer->nextTick); });
}

void PollMainLoop::scheduleTick(const std::shared_ptr<Timer>& timer, Instant due) {
    timer->nextTick = schedule(due, [this, timer, due] {
        // Scheduled before the task runs: the task may end the timer, which removes the tick by its key.
        const auto missed = (steady_clock::now() - due) / timer->interval;
        scheduleTick(timer, due + (missed + 1) * timer->interval);
        timer->task();
    });
}

MainLoop::Handle PollMainLoop::onSignal(int signal, Task task) {
    const auto watch =
        signals_.emplace_back(std::make_shared<SignalWatch>(signal, wakePipe_, std::move(task)));
    return std::make_unique<Ending>([this, watch] {
        watch->inbox.reset();
        std::erase(signals_, watch);
    });
}

MainLoop::Handle PollMainLoop::watchReadable(int descriptor, Task task) {
    const auto watch = watches_.emplace_back(std::make_shared<Watch>(descriptor, std::move(task)));
    return std::make_unique<Ending>([this, watch] {
        watch->active = false;
        std::erase(watches_, watch);
    });
}

void PollMainLoop::run() {
    while (!quit_.exchange(false)) {
        runDue();
        waitForEvents();
    }
}

void PollMainLoop::quit() {
    quit_ = true;
    wakePipe_.wake();
}

PollMainLoop::Key PollMainLoop::schedule(Instant due, Task task) {
    bool asleep = false;
    Key key;
    {
        Kvs::FLockGuard guard(lock_);
        const auto added = scheduled_.emplace(Key(due, sequence_++), std::move(task)).first;
        asleep = sleeping_ && added == scheduled_.begin();
        sleeping_ = sleeping_ && !asleep;
        key = added->first;
    }
    if (asleep) {
        wakePipe_.wake(); // without the lock, which the loop takes as soon as it is awake
    }
    return key;
}

void PollMainLoop::unschedule(Key key) {
    decltype(scheduled_)::node_type dropped; // destroyed after the lock is released, as in the destructor
    Kvs::FLockGuard guard(lock_);
    dropped = scheduled_.extract(key);
}

MainLoop::Task PollMainLoop::takeDueBy(Instant limit) {
    Kvs::FLockGuard guard(lock_);
    const auto first = scheduled_.begin();
    if (first == scheduled_.end() || first->first.first > limit) {
        return nullptr;
    }
    Task task = std::move(first->second);
    scheduled_.erase(first);
    return task;
}

void PollMainLoop::runDue() {
    // Tasks that these tasks post run in the next round, after the descriptors and signals.
    const Instant now = steady_clock::now();
    while (!quit_ && steady_clock::now() - now < kTurn) {
        const Task task = takeDueBy(now);
        if (!task) {
            return;
        }
        task();
    }
}

/// Returns the timeout for poll(2), rounded up so that poll does not return just before a task is due. Sets
/// `sleeping_` in the same step, so that `schedule` wakes the loop for every earlier task that is added from
/// now on.
int PollMainLoop::prepareSleep() {
    Kvs::FLockGuard guard(lock_);
    if (scheduled_.empty()) {
        sleeping_ = true;
        return -1;
    }
    const auto rest = scheduled_.begin()->first.first - steady_clock::now();
    if (rest.count() <= 0) {
        return 0;
    }
    sleeping_ = true;
    return static_cast<int>(
        std::min<milliseconds::rep>(std::chrono::ceil<milliseconds>(rest).count(), INT_MAX));
}

void PollMainLoop::waitForEvents() {
    const auto watches = watches_; // a copy: a task may end any of them, or add new ones
    polled_.assign(1, {wakePipe_.descriptor(), POLLIN, 0});
    for (const auto& watch : watches) {
        polled_.push_back({watch->descriptor, POLLIN, 0});
    }
    const int ready = poll(polled_.data(), static_cast<nfds_t>(polled_.size()), prepareSleep());
    {
        Kvs::FLockGuard guard(lock_);
        sleeping_ = false;
    }
    if (ready <= 0) { // a task is due, or a signal interrupted the call and its byte is in the wake pipe
        return;
    }
    if (polled_[0].revents != 0) {
        wakePipe_.drain();
        deliverSignals();
    }
    for (std::size_t i = 0; i < watches.size() && !quit_; ++i) {
        const short events = polled_[i + 1].revents;
        if (events == 0 || !watches[i]->active) {
            continue;
        }
        if ((events & POLLNVAL) != 0) {
            Kvs::CNSLog("Descriptor %d was closed while the main loop watched it", watches[i]->descriptor);
            std::erase(watches_, watches[i]);
            continue;
        }
        watches[i]->task();
    }
}

void PollMainLoop::deliverSignals() {
    const auto signals = signals_;
    for (const auto& watch : signals) {
        if (!quit_ && watch->inbox && watch->inbox->take()) {
            watch->task();
        }
    }
}

} // namespace kvn::host
