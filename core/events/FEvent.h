// SPDX-License-Identifier: MIT

#pragma once

#include "core/events/FDelegate.h"
#include "core/events/FEventLock.h"

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
/// Any thread. One of the event's own handlers may destroy it; destroying it from another thread waits for
/// a raise in progress. A raise that waits for the lock meanwhile then calls no handler.
template <class Source, class Arg>
class FEvent {
public:
    using Handler = FDelegate2<void, Source*, Arg&>;

    FEvent() : state_(new State) {}

    ~FEvent() {
        const SharedStatePtr use(state_);
        // A raise further down this thread's stack, or one that waits for the lock, still uses the state: it
        // finds no active handler, and the last of them deletes the state.
        for (Entry& entry : state_->entries) {
            entry.active = false;
        }
        state_->ended = true;
    }

    FEvent(const FEvent&) = delete;
    FEvent& operator=(const FEvent&) = delete;

    /// Appends a handler; adding the same one twice calls it twice.
    void add(std::unique_ptr<Handler> handler) {
        const SharedStatePtr use(state_);
        state_->entries.push_back({std::move(handler), true});
    }

    template <class T>
    void add(T* object, void (T::*method)(Source*, Arg&)) {
        add(std::make_unique<FEventDelegate<T, Source, Arg>>(object, method));
    }

    /// Deactivates every handler equal to `pattern`, also for a raise in progress on this thread. On return
    /// no other thread is inside such a handler. Entries are marked and stay, since raises walk the list by
    /// index.
    void remove(const Handler& pattern) {
        const SharedStatePtr use(state_);
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
        State* const state = state_; // a handler may destroy this event; the state lives until the raise ends
        const SharedStatePtr use(state);
        // By index, with the size read each time: a handler may append, and a raise calls those too.
        for (std::size_t i = 0; i < state->entries.size(); ++i) {
            if (state->entries[i].active) {
                // The delegate itself stays where it is when a handler's add() moves the entries.
                (*state->entries[i].handler)(source, arg);
            }
        }
    }

private:
    struct Entry {
        std::unique_ptr<Handler> handler;
        bool active;
    };

    struct State {
        FEventLock lock;
        std::vector<Entry> entries KVS_GUARDED_BY(lock);
        bool ended KVS_GUARDED_BY(lock) = false; // set when the event is destroyed
    };

    /// Holds the lock for a scope; deletes the state if the event has been destroyed and no other thread uses
    /// it.
    class KVS_SCOPED_CAPABILITY SharedStatePtr {
    public:
        explicit SharedStatePtr(State* state) KVS_ACQUIRE(state->lock) : state_(state) {
            state_->lock.lock();
        }
        ~SharedStatePtr() KVS_RELEASE() {
            // Read before unlocking: afterwards another thread may delete the state. If `ended` is set and no
            // claim is left, no other thread can reach the state, since only the event pointed to it.
            const bool ended = state_->ended;
            if (state_->lock.unlock() && ended) {
                delete state_;
            }
        }
        SharedStatePtr(const SharedStatePtr&) = delete;
        SharedStatePtr& operator=(const SharedStatePtr&) = delete;

    private:
        State* state_;
    };

    State* state_;
};

} // namespace Kvs
