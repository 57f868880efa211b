// SPDX-License-Identifier: MIT

#include "host/posix/Signals.h"

#include "core/system/WakePipe.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>
#include <utility>

namespace kvn::host {
namespace {

struct Slot {
    std::atomic<bool> received = false;
    std::atomic<Kvs::WakePipe*> wakePipe = nullptr;
    std::atomic<int> running = 0; // handlers that may still use the pipe
};
static_assert(std::atomic<Kvs::WakePipe*>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

std::array<Slot, NSIG> slots;

extern "C" void recordSignal(int signal) {
    const int savedErrno = errno;
    Slot& slot = slots[static_cast<std::size_t>(signal)];
    ++slot.running;
    slot.received = true;
    if (Kvs::WakePipe* const pipe = slot.wakePipe) {
        pipe->wake();
    }
    --slot.running;
    errno = savedErrno;
}

/// Catches the signal; the destructor restores its former action. The handler only sets a flag and wakes the
/// loop.
class SignalRegistration final : public MainLoop::Registration {
public:
    SignalRegistration(MainLoop& loop, int signal, MainLoop::Task task)
        : signal_(signal), slot_(slots.at(static_cast<std::size_t>(signal))),
          watch_(loop.watchReadable(pipe_.descriptor(), [this, task = std::move(task)] {
              pipe_.drain();
              if (slot_.received.exchange(false)) {
                  task(); // may destroy this object
              }
          })) {
        slot_.received = false;
        slot_.wakePipe = &pipe_;
        struct sigaction action {};
        action.sa_handler = recordSignal;
        action.sa_flags = SA_RESTART | SA_NOCLDSTOP; // a child that only stops has not ended
        sigemptyset(&action.sa_mask);
        sigaction(signal, &action, &former_);
    }
    ~SignalRegistration() override {
        sigaction(signal_, &former_, nullptr);
        slot_.wakePipe = nullptr;
        // The handler may be running on another thread and still write into the pipe, which is destroyed
        // next.
        while (slot_.running != 0) {
            std::this_thread::yield();
        }
    }

private:
    const int signal_;
    Slot& slot_;
    struct sigaction former_ {};
    Kvs::WakePipe pipe_;
    const MainLoop::Handle watch_;
};

} // namespace

MainLoop::Handle watchSignal(MainLoop& loop, int signal, MainLoop::Task task) {
    return std::make_unique<SignalRegistration>(loop, signal, std::move(task));
}

} // namespace kvn::host
