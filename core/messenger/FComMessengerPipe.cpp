// SPDX-License-Identifier: MIT

#include "core/messenger/FComMessengerPipe.h"

#include "core/logging/CNSLog.h"
#include "core/messenger/PipeWorker.h"

#include <cerrno>
#include <climits>
#include <utility>

namespace Kvs {
namespace {

/// Returns the number at the beginning of the text: 0 if there is none, -1 if it is too large for a
/// descriptor.
int leadingNumber(const wchar_t* text) {
    long long number = 0;
    for (; *text >= L'0' && *text <= L'9'; ++text) {
        number = number * 10 + (*text - L'0');
        if (number > INT_MAX) {
            return -1;
        }
    }
    return static_cast<int>(number);
}

FResult writeOnce(const PipeConnection& connection, const unsigned char* data, long length, long& written) {
    const long count = connection.write(data, static_cast<std::size_t>(length));
    if (count < 0) {
        return static_cast<FResult>(FComMessenger::ThreadGetLastError());
    }
    written = count;
    return kSuccess;
}

/// Does what `writeOnce` does, for a server end. A peer that took only part of a message is dropped, because
/// it would read the next message as the rest of this one.
FResult writeToPeer(PipeConnection& peer, const unsigned char* data, long length, long& written) {
    long count = 0;
    const FResult result = writeOnce(peer, data, length, count);
    if (result == kSuccess) {
        written = count;
    }
    if (result == EAGAIN || (result == kSuccess && count < length)) {
        CNSLog("FComMessengerPipe:: pipe: %d does not read, dropping it", peer.number());
        peer.stop();
    }
    return result;
}

/// Returns the end's socket, or a connection whose every operation fails with EBADF.
PipeConnectionRef socketOf(FPipeState& state) {
    FLockGuard guard(state.lock);
    if (!state.socket) {
        return fMakeRef<PipeConnection>();
    }
    return state.socket;
}

PipeConnectionRef peerOf(FPipeState& state, int number) {
    FLockGuard guard(state.lock);
    const PipeConnectionRef* peer = state.peers.find(number);
    return peer ? *peer : PipeConnectionRef();
}

FMap<int, PipeConnectionRef> peersOf(FPipeState& state) {
    FLockGuard guard(state.lock);
    return state.peers;
}

} // namespace

FComMessengerPipe::FComMessengerPipe(bool server, bool /*second*/) : state_(fMakeRef<FPipeState>(server)) {}

FComMessengerPipe::~FComMessengerPipe() { close(); }

FResult FComMessengerPipe::open(const wchar_t* name) {
    return state_->server ? openOnServer(name) : openOnClient(name);
}

FResult FComMessengerPipe::close() {
    const FResult result = endReceive();
    FLockGuard guard(state_->lock);
    state_->name.clear();
    return result;
}

FResult FComMessengerPipe::beginReceive() {
    // From here on only `worker` is used, which holds the state: once the thread runs, its handler may
    // destroy this client end before the call returns.
    PipeWorker worker{this, state_, {}};
    FPipePhase phase{};
    bool ready = false;
    bool started = false;
    {
        FLockGuard guard(worker.state->lock);
        phase = worker.state->phase;
        ready = phase == kPipeIdle && worker.state->socket;
        if (ready) {
            worker.state->phase = kPipeStarting;
            worker.connection = worker.state->socket;
            started = worker.state->server ? fStartAcceptor(worker) : fStartReader(worker);
        }
    }
    if (!ready) {
        CNSLog("FComMessengerPipe can't begin receiving, invalid state: %d", phase);
        return kInvalidState;
    }
    return started ? kSuccess : kFailure;
}

FResult FComMessengerPipe::endReceive() {
    PipeConnectionRef socket;
    FMap<int, PipeConnectionRef> peers;
    FList<PipeConnectionRef> running;
    bool inHandler = false;
    {
        FLockGuard guard(state_->lock);
        state_->phase = kPipeStopping;
        std::swap(socket, state_->socket);
        std::swap(peers, state_->peers);
        running = state_->running; // a copy: a second `endReceive` has to wait for the threads as well
        if (socket) {
            socket->stop();
        }
        for (const PipeConnectionRef& connection : running) {
            connection->stop();
            inHandler = inHandler || connection->thread().isCurrent();
        }
    }
    // The threads are joined without the lock, which they take when they end. A handler that ends its own
    // pipe joins no thread: its own would never end, and a handler on another thread may be ending the pipe
    // too and wait for this one.
    if (!inHandler) {
        for (const PipeConnectionRef& connection : running) {
            connection->thread().join();
        }
    }
    // This order of the references is the order of the lines "FComMessengerPipe closed".
    running.clear();
    socket.reset();
    for (auto peer = peers.end(); peer != peers.begin();) {
        (--peer)->second.reset();
    }
    return kSuccess;
}

bool FComMessengerPipe::isReceiving() {
    FLockGuard guard(state_->lock);
    return state_->phase < kPipeStopping;
}

FResult FComMessengerPipe::send(const wchar_t* target, const unsigned char* data, long length,
                                long& written) {
    written = 0;
    if (length < 0) {
        return EINVAL;
    }
    if (!state_->server) {
        return writeOnce(*socketOf(*state_), data, length, written);
    }
    if (target && *target) {
        const PipeConnectionRef peer = peerOf(*state_, leadingNumber(target));
        return peer ? writeToPeer(*peer, data, length, written) : kFailure;
    }
    for (const auto& [number, peer] : peersOf(*state_)) {
        writeToPeer(*peer, data, length, written);
    }
    return kSuccess;
}

bool FComMessengerPipe::hasName(const wchar_t* name) {
    FLockGuard guard(state_->lock);
    return state_->name == name;
}

} // namespace Kvs
