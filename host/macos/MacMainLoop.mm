// SPDX-License-Identifier: MIT

#include "host/macos/MacMainLoop.h"

#include "core/base/Errors.h"
#include "host/posix/Signals.h"

#import <AppKit/AppKit.h>
#include <algorithm>
#include <exception>
#include <fcntl.h>
#include <map>
#include <unistd.h>

namespace kvn::host {
namespace {

using Kvs::FLockGuard;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// Ends the application's run. It looks only after an event if it has been stopped, so one is posted.
void stopApplication() {
    [NSApp stop:nil];
    [NSApp postEvent:[NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                        location:NSZeroPoint
                                   modifierFlags:0
                                       timestamp:0
                                    windowNumber:0
                                         context:nil
                                         subtype:0
                                           data1:0
                                           data2:0]
             atStart:YES];
}

/// Runs the application until its launch is finished, which installs the system's handlers of Apple events.
/// Installed later, they would replace the agent's own.
void finishLaunch() {
    NSNotificationCenter* const center = NSNotificationCenter.defaultCenter;
    const id observer = [center addObserverForName:NSApplicationDidFinishLaunchingNotification
                                            object:nil
                                             queue:nil
                                        usingBlock:^(NSNotification*) {
                                          stopApplication();
                                        }];
    [NSApp run];
    [center removeObserver:observer];
}

} // namespace

struct MacMainLoop::State : std::enable_shared_from_this<State> {
    /// The queue is suspended while the loop does not run or is to end.
    explicit State(bool application) : withApplication(application) { dispatch_suspend(queue); }

    void run(const Task& task);
    void runPosted(std::uint64_t key);
    void quit();

    const bool withApplication;
    const dispatch_queue_t queue = dispatch_queue_create_with_target(
        "com.korvane.remote.main-loop", DISPATCH_QUEUE_SERIAL, dispatch_get_main_queue());
    Kvs::FThreadLock lock;
    // Kept here, not in the system's blocks, so that the loop's end can drop them.
    std::map<std::uint64_t, Task> posted KVS_GUARDED_BY(lock);
    std::uint64_t lastKey KVS_GUARDED_BY(lock) = 0;
    bool running KVS_GUARDED_BY(lock) = false; // the queue is not suspended
    bool quitting KVS_GUARDED_BY(lock) = false;
    std::exception_ptr failure; // main thread
    id activity = nil;          // ends with the state
};

namespace {

/// A source of events. What its task holds is released with the registration, not when the system releases
/// the cancelled source.
class SourceRegistration final : public MainLoop::Registration {
public:
    /// `run` calls the task that it is given.
    template <class Run>
    SourceRegistration(dispatch_source_t source, MainLoop::Task task, Run run)
        : source_(source), task_(std::make_shared<MainLoop::Task>(std::move(task))) {
        const std::weak_ptr<MainLoop::Task> weak = task_;
        dispatch_source_set_event_handler(source_, ^{
          if (const auto alive = weak.lock()) { // kept while it ends its own registration
              run(*alive);
          }
        });
        dispatch_resume(source_);
    }
    ~SourceRegistration() override { dispatch_source_cancel(source_); }
    SourceRegistration(const SourceRegistration&) = delete;
    SourceRegistration& operator=(const SourceRegistration&) = delete;

private:
    const dispatch_source_t source_;
    const std::shared_ptr<MainLoop::Task> task_;
};

} // namespace

void MacMainLoop::State::run(const Task& task) {
    @autoreleasepool {
        try {
            task();
        } catch (...) {
            // No exception may pass through the system's code below.
            failure = std::current_exception();
            quit();
        }
    }
}

void MacMainLoop::State::runPosted(std::uint64_t key) {
    decltype(posted)::node_type task;
    {
        FLockGuard guard(lock);
        task = posted.extract(key);
    }
    if (!task.empty()) {
        run(task.mapped());
    }
}

void MacMainLoop::State::quit() {
    {
        FLockGuard guard(lock);
        quitting = true;
        if (std::exchange(running, false)) {
            dispatch_suspend(queue); // after the task in progress
        }
    }
    // From within the run, because a stop before it has no effect.
    const auto state = shared_from_this();
    dispatch_async(dispatch_get_main_queue(), ^{
      FLockGuard guard(state->lock);
      if (!state->quitting) {
          return; // an earlier run that has ended by now
      }
      if (state->withApplication) {
          stopApplication();
      } else {
          CFRunLoopStop(CFRunLoopGetMain());
      }
    });
}

MacMainLoop::MacMainLoop(bool withApplication) : state_(std::make_shared<State>(withApplication)) {
    if (withApplication) {
        [NSApplication.sharedApplication setActivationPolicy:NSApplicationActivationPolicyAccessory];
        // The system slows the timers of an application that shows no window, unless it says that it is busy.
        state_->activity =
            [NSProcessInfo.processInfo beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                                                         reason:@"The remote service is watched"];
        finishLaunch();
    }
}

MacMainLoop::~MacMainLoop() {
    // `dropped` is destroyed after the lock is released, because the destructor of an object that a task
    // holds may call the loop.
    decltype(state_->posted) dropped;
    FLockGuard guard(state_->lock);
    dropped.swap(state_->posted);
    dispatch_resume(state_->queue); // a suspended queue must not be released
}

void MacMainLoop::post(Task task) { postAfter(milliseconds(0), std::move(task)); }

void MacMainLoop::postAfter(milliseconds delay, Task task) {
    std::uint64_t key = 0;
    {
        FLockGuard guard(state_->lock);
        key = ++state_->lastKey;
        state_->posted.emplace(key, std::move(task));
    }
    const auto state = state_; // the block keeps it, and not this object
    const dispatch_block_t run = ^{
      state->runPosted(key);
    };
    if (delay.count() <= 0) {
        dispatch_async(state_->queue, run);
    } else {
        dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds(delay).count()), state_->queue, run);
    }
}

MainLoop::Handle MacMainLoop::startTimer(milliseconds interval, Task task) {
    const auto length = nanoseconds(std::max(interval, milliseconds(1))).count();
    const dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, state_->queue);
    constexpr int kLeeway = 20; // a part of the interval, so that the system wakes for several timers at once
    dispatch_source_set_timer(timer, dispatch_time(DISPATCH_TIME_NOW, length),
                              static_cast<std::uint64_t>(length),
                              static_cast<std::uint64_t>(length / kLeeway));
    return std::make_unique<SourceRegistration>(timer, std::move(task),
                                                [state = state_](const Task& due) { state->run(due); });
}

MainLoop::Handle MacMainLoop::onSignal(int signal, Task task) {
    // Not a dispatch source of signals: the main queue takes up such a source only while it runs, and misses
    // earlier signals; and it wants the signal ignored, with which the system would reap the children itself.
    return watchSignal(*this, signal, std::move(task));
}

MainLoop::Handle MacMainLoop::watchReadable(int descriptor, Task task) {
    // The source uses the descriptor until its cancel handler runs, when the caller may have closed its own.
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        throw Kvs::FException("Descriptor could not be watched", "watchReadable()");
    }
    const dispatch_source_t source =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_READ, static_cast<std::uintptr_t>(own), 0, state_->queue);
    dispatch_source_set_cancel_handler(source, ^{
      ::close(own);
    });
    return std::make_unique<SourceRegistration>(source, std::move(task),
                                                [state = state_](const Task& due) { state->run(due); });
}

void MacMainLoop::run() {
    {
        FLockGuard guard(state_->lock);
        if (std::exchange(state_->quitting, false)) {
            return;
        }
        state_->running = true;
        dispatch_resume(state_->queue);
    }
    if (state_->withApplication) {
        [NSApp run];
    } else {
        CFRunLoopRun();
    }
    {
        FLockGuard guard(state_->lock);
        state_->quitting = false;
        if (std::exchange(state_->running, false)) {
            dispatch_suspend(state_->queue);
        }
    }
    if (state_->failure) {
        std::rethrow_exception(std::exchange(state_->failure, nullptr));
    }
}

void MacMainLoop::quit() { state_->quit(); }

} // namespace kvn::host
