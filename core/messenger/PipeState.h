#pragma once

#include "core/base/Containers.h"
#include "core/messenger/PipeConnection.h"
#include "core/text/FGStr.h"
#include "core/threads/FThreadLock.h"

namespace Kvs {

/// The numbers are those of the log line about an invalid state.
enum FPipePhase : int { kPipeStarting = 0, kPipeReceiving = 1, kPipeStopping = 2, kPipeIdle = 3 };

/// What a pipe shares with its threads. It outlives the pipe while a thread needs it, since a client
/// end may be destroyed by a handler on its reader thread.
struct FPipeState {
    explicit FPipeState(bool isServer) : server(isServer) {}

    const bool server;

    FThreadLock lock;
    FPipePhase phase KVS_GUARDED_BY(lock) = kPipeIdle;
    FGStr<wchar_t> name KVS_GUARDED_BY(lock);
    /// The listening socket of a server end, the connected one of a client end; empty until opened.
    PipeConnectionRef socket KVS_GUARDED_BY(lock);
    /// The accepted peers of a server end, by number, as long as they are read.
    FMap<int, PipeConnectionRef> peers KVS_GUARDED_BY(lock);
    /// Those whose thread runs, closed ones included: whom `endReceive` stops and waits for.
    FList<PipeConnectionRef> running KVS_GUARDED_BY(lock);
};

} // namespace Kvs
