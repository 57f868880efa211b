// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/messenger/FComMessenger.h"
#include "core/messenger/PipeConnection.h"
#include "core/text/FGStr.h"
#include "core/threads/FThreadLock.h"

namespace Kvs {

/// The numbers appear in the log line about an invalid state.
enum FPipePhase : int { kPipeStarting = 0, kPipeReceiving = 1, kPipeStopping = 2, kPipeIdle = 3 };

/// The state that a pipe shares with its threads. It outlives the pipe while a thread needs it, since a
/// client end may be destroyed by a handler on its reader thread.
struct FPipeState {
    explicit FPipeState(bool isServer) : server(isServer) {}

    const bool server;

    FThreadLock lock; // never held while a handler runs or a thread is joined
    FPipePhase phase KVS_GUARDED_BY(lock) = kPipeIdle;
    FGStr<wchar_t> name KVS_GUARDED_BY(lock);
    /// The listening socket of a server end, the connected one of a client end; empty until opened.
    PipeConnectionRef socket KVS_GUARDED_BY(lock);
    /// The accepted peers of a server end, by number, as long as they are read.
    FMap<int, PipeConnectionRef> peers KVS_GUARDED_BY(lock);
    /// The connections whose thread runs, closed ones included: `endReceive` stops them and waits for them.
    FList<PipeConnectionRef> running KVS_GUARDED_BY(lock);
};

/// One thread's part of a pipe. The pipe itself exists only until the connection is stopped; so after a
/// raise, whose handlers may have destroyed it, the thread checks that first.
struct PipeWorker {
    FComMessenger* pipe;
    FRef<FPipeState> state;
    PipeConnectionRef connection;
};

/// Starts a thread that reads the connection and raises the bytes that arrive, or one that accepts peers on
/// it and starts their readers. The thread takes the connection out of the worker, so that its reference is
/// dropped when the thread ends. Returns false if no thread could be started.
bool fStartReader(PipeWorker& worker) KVS_REQUIRES(worker.state->lock);
bool fStartAcceptor(PipeWorker& worker) KVS_REQUIRES(worker.state->lock);

} // namespace Kvs
