#pragma once

#include "core/messenger/FComMessenger.h"
#include "core/messenger/PipeState.h"

namespace Kvs {

/// What one thread of a pipe works with. The pipe itself is only there until the connection is
/// stopped; so after a raise, whose handlers may have destroyed it, the thread looks at that first.
struct PipeWorker {
    FComMessenger* pipe;
    FRef<FPipeState> state;
    PipeConnectionRef connection;
};

/// Starts a thread that reads the connection and raises what arrives, or one that accepts peers on it
/// and has them read. The thread takes the connection over, so that it is the one to let go of it when it
/// ends. Whether a thread could be started.
bool fStartReader(PipeWorker& worker) KVS_REQUIRES(worker.state->lock);
bool fStartAcceptor(PipeWorker& worker) KVS_REQUIRES(worker.state->lock);

} // namespace Kvs
