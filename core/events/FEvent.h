#pragma once

#include "core/events/FDelegate.h"
#include "core/threads/FThreadLock.h"

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace Kvs {

/// A multicast event. Its owner raises it; every active handler runs on the raising thread, in the
/// order of `add`, while the event's recursive lock is held: a handler may add, remove and raise
/// again, and a handler that blocks holds up the other threads that use the event. A handler must not
/// throw.
///
/// Any thread. The event may be destroyed by one of its own handlers; destroying it from another
/// thread waits for a raise in progress.
template <class Source, class Arg>
class FEvent {
public:
    using Handler = FDelegate2<void, Source*, Arg&>;

    FEvent() : state_(new State) {}

    ~FEvent() {
        state_->lock.lock();
        for (Entry& entry : state_->entries) {
            entry.active = false;
        }
        release(state_);
    }

    FEvent(const FEvent&) = delete;
    FEvent& operator=(const FEvent&) = delete;

    /// Appends a handler; adding the same one twice calls it twice.
    void add(std::unique_ptr<Handler> handler) {
        FLockGuard guard(state_->lock);
        state_->entries.push_back({std::move(handler), true});
    }

    template <class T>
    void add(T* object, void (T::*method)(Source*, Arg&)) {
        add(std::make_unique<FEventDelegate<T, Source, Arg>>(object, method));
    }

    /// Deactivates every handler equal to `pattern`, at once also for a raise in progress on this
    /// thread; on return no other thread is inside such a handler. Entries are marked and stay, since
    /// raises walk the list by index.
    void remove(const Handler& pattern) {
        FLockGuard guard(state_->lock);
        for (Entry& entry : state_->entries) {
            if (*entry.handler == pattern) {
                entry.active = false;
            }
        }
    }

    template <class T>
    void remove(T* object, void (T::*method)(Source*, Arg&)) {
        remove(FEventDelegate<T, Source, Arg>(object, method));
    }

    /// Calls every active handler, those appended during the raise included.
    void raise(Source* source, Arg& arg) {
        State* state = state_; // a handler may destroy this event; the state lives until the raise ends
        state->lock.lock();
        ++state->users;
        for (std::size_t i = 0; i < state->entries.size(); ++i) {
            if (state->entries[i].active) {
                // The delegate stays put when a handler's add() moves the entries.
                (*state->entries[i].handler)(source, arg);
            }
        }
        release(state);
    }

private:
    struct Entry {
        std::unique_ptr<Handler> handler;
        bool active;
    };

    struct State {
        FThreadLock lock;
        std::vector<Entry> entries KVS_GUARDED_BY(lock);
        int users KVS_GUARDED_BY(lock) = 1; // the event itself, and each raise in progress
    };

    /// Ends one use of the locked state, unlocks it, and deletes it after the last use.
    static void release(State* state) KVS_RELEASE(state->lock) {
        const bool last = --state->users == 0;
        state->lock.unlock();
        if (last) {
            delete state;
        }
    }

    State* state_;
};

} // namespace Kvs
