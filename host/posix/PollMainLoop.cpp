// SPDX-License-Identifier: MIT

#include "host/posix/PollMainLoop.h"

#include "core/logging/CNSLog.h"
#include "host/posix/Signals.h"

#include <algorithm>
#include <climits>

namespace kvn::host {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct PollMainLoop::Watch {
    Watch(int d, Task t) : descriptor(d), task(std::move(t)) {}
    const int descriptor;
    const Task task;
    bool active = true;
};

void PollMainLoop::post(Task task) { schedule_.add(steady_clock::now(), std::move(task)); }

void PollMainLoop::postAfter(milliseconds delay, Task task) {
    schedule_.add(steady_clock::now() + delay, std::move(task));
}

MainLoop::Handle PollMainLoop::startTimer(milliseconds interval, Task task) {
    return schedule_.startTimer(interval, std::move(task));
}

MainLoop::Handle PollMainLoop::onSignal(int signal, Task task) {
    return watchSignal(*this, signal, std::move(task));
}

MainLoop::Handle PollMainLoop::watchReadable(int descriptor, Task task) {
    class Watching final : public Registration {
    public:
        Watching(PollMainLoop& loop, std::shared_ptr<Watch> watch) : loop_(loop), watch_(std::move(watch)) {}
        ~Watching() override {
            watch_->active = false;
            std::erase(loop_.watches_, watch_);
        }

    private:
        PollMainLoop& loop_;
        const std::shared_ptr<Watch> watch_;
    };
    return std::make_unique<Watching>(
        *this, watches_.emplace_back(std::make_shared<Watch>(descriptor, std::move(task))));
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

void PollMainLoop::runDue() {
    // Tasks that these tasks post run in the next round, after the descriptors and signals.
    const auto now = steady_clock::now();
    while (!quit_ && steady_clock::now() - now < TaskSchedule::kTurn) {
        const Task task = schedule_.takeDueBy(now);
        if (!task) {
            return;
        }
        task();
    }
}

void PollMainLoop::waitForEvents() {
    const auto watches = watches_; // a copy: a task may end any of them, or add new ones
    polled_.assign(1, {wakePipe_.descriptor(), POLLIN, 0});
    for (const auto& watch : watches) {
        polled_.push_back({watch->descriptor, POLLIN, 0});
    }
    const auto rest = schedule_.prepareSleep();
    const int timeout = rest ? static_cast<int>(std::min<milliseconds::rep>(rest->count(), INT_MAX)) : -1;
    const int ready = poll(polled_.data(), static_cast<nfds_t>(polled_.size()), timeout);
    schedule_.endSleep();
    if (ready <= 0) { // a task is due, or a signal interrupted the call and its byte is in a pipe
        return;
    }
    if (polled_[0].revents != 0) {
        wakePipe_.drain();
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

} // namespace kvn::host
