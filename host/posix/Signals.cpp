// SPDX-License-Identifier: MIT

#include "host/posix/Signals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <thread>

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

Slot& slotOf(int signal) { return slots.at(static_cast<std::size_t>(signal)); }

} // namespace

SignalInbox::SignalInbox(int signal, Kvs::WakePipe& wakePipe) : signal_(signal) {
    slotOf(signal).received = false;
    slotOf(signal).wakePipe = &wakePipe;
    struct sigaction action {};
    action.sa_handler = recordSignal;
    action.sa_flags = SA_RESTART | SA_NOCLDSTOP; // a child that only stops has not ended
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, &previous_);
}

SignalInbox::~SignalInbox() {
    sigaction(signal_, &previous_, nullptr);
    Slot& slot = slotOf(signal_);
    slot.wakePipe = nullptr;
    // The handler may be running on another thread and still write into the pipe, which the owner destroys
    // next.
    while (slot.running != 0) {
        std::this_thread::yield();
    }
}

bool SignalInbox::take() { return slotOf(signal_).received.exchange(false); }

} // namespace kvn::host
