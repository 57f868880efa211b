// SPDX-License-Identifier: MIT

#include "core/messenger/PipeWorker.h"

#include "core/logging/CNSLog.h"
#include "core/messenger/FComMessengerPipe.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <utility>

namespace Kvs {
namespace {

// Every working peer reads within this time.
constexpr std::chrono::seconds kSendLimit{2};

using Loop = void (*)(PipeWorker);

class Job : public FInvokable<void> {
public:
    Job(Loop loop, PipeWorker worker) : loop_(loop), worker_(std::move(worker)) {}

    // The thread record deletes the job only after it has run; the loop therefore takes the worker, and with
    // it the reference to the connection, which it drops before its last log line.
    void invoke() const override { loop_(std::move(worker_)); }

private:
    Loop loop_;
    mutable PipeWorker worker_;
};

bool start(Loop loop, PipeWorker& worker) KVS_REQUIRES(worker.state->lock) {
    FThread& thread = worker.connection->thread();
    // It is put into the list before the thread runs: `endReceive` has to find, stop and join every running
    // thread. The new thread cannot remove itself too early, since it needs the lock that the caller holds.
    worker.state->running.push_back(worker.connection);
    thread.setJoinable(true);
    PipeWorker own{worker.pipe, worker.state, std::move(worker.connection)};
    if (thread.execute(std::make_unique<Job>(loop, std::move(own)))) {
        return true;
    }
    worker.state->running.pop_back();
    return false;
}

/// Marks the start of a thread. Only the pipe's own thread finds the phase "starting".
void enter(const PipeWorker& worker) {
    FLockGuard guard(worker.state->lock);
    if (worker.state->phase == kPipeStarting) {
        worker.state->phase = kPipeReceiving;
    }
}

/// Marks the end of a thread; with the pipe's own thread its receiving ends too.
void leave(PipeWorker& worker, bool own) {
    {
        FLockGuard guard(worker.state->lock);
        worker.state->peers.remove(worker.connection->number());
        std::erase(worker.state->running, worker.connection);
        if (own) {
            worker.state->phase = kPipeIdle;
        }
    }
    // Closes an accepted socket; the state still holds the socket of a client end. This comes after the
    // removal from `peers`: once the socket is closed a new peer may get its number, and the removal by
    // number would then hit the new entry.
    worker.connection.reset();
}

void raiseError(const PipeWorker& worker, int error) { worker.pipe->ReadError.raise(worker.pipe, error); }

/// Raises the bytes that arrive until the connection ends or is stopped.
void receive(const PipeWorker& worker) {
    PipeConnection& connection = *worker.connection;
    const int number = connection.number();
    const FGStr<wchar_t> sender = FGStr<wchar_t>().appendValueOf(number);
    FComMessenger::DataReceivedArg arg; // reused, so that a chunk costs a copy and no allocation
    unsigned char buffer[4096];
    // A handler may stop the connection and then destroy the pipe, so `worker.pipe` is used only after the
    // connection was found open. Other threads cannot destroy it meanwhile: they join this thread first.
    while (connection.isOpen()) {
        const long count = connection.read(buffer, sizeof buffer);
        if (count > 0) {
            arg.sender = sender;
            arg.data.assign(buffer, buffer + count);
            arg.pause = std::chrono::milliseconds(0);
            worker.pipe->DataReceived.raise(worker.pipe, arg);
            // Here no lock is held, and `stop` ends the wait: whoever removes a handler or closes the pipe
            // does not wait for it.
            if (arg.pause.count() > 0) {
                connection.pause(arg.pause);
            }
            continue;
        }
        const int error = errno;
        if (!connection.isOpen()) {
            return;
        }
        // Linux reports a reset when the peer closed without having read everything.
        if (count == 0 || error == ECONNRESET) {
            CNSLog("pipe: %d closed by peer,", number);
            raiseError(worker, kPeerClosedError);
        } else {
            CNSLog("Broken pipe: %d, errno: %d, %s", number, error, std::strerror(error));
            raiseError(worker, error);
        }
        return;
    }
}

void readLoop(PipeWorker worker) {
    const int number = worker.connection->number();
    CNSDbgLog("FComMessengerPipe:: starting read thread from pipe: %d", number);
    enter(worker);
    receive(worker);
    leave(worker, !worker.state->server);
    CNSLog("FComMessengerPipe:: Leaving read thread from pipe: %d", number);
}

void addPeer(const PipeWorker& listener, FileDescriptor socket) {
    const int number = socket.get();
    CNSLog("FComMessengerPipe:: connection accepted: %d", number);
    PipeWorker peer{listener.pipe, listener.state, fMakeRef<PipeConnection>(std::move(socket), kSendLimit)};
    {
        // `endReceive` stops the listener under this lock and collects the running threads there: a peer is
        // either in its list or not started at all.
        FLockGuard guard(peer.state->lock);
        if (!listener.connection->isOpen()) {
            return;
        }
        peer.state->peers.set(number, peer.connection);
        if (!fStartReader(peer)) {
            CNSLog("FComMessengerPipe:: no thread to read pipe: %d, dropping it", number);
            peer.state->peers.remove(number);
        }
    }
}

/// Accepts until stopped, or until the sixth failure in a row.
void acceptPeers(const PipeWorker& worker) {
    const PipeConnection& listener = *worker.connection;
    int failures = 0;
    while (listener.isOpen()) {
        FileDescriptor peer = listener.accept();
        const int error = errno;
        if (peer) {
            addPeer(worker, std::move(peer));
            failures = 0;
        } else if (error != EINTR && error != ECONNABORTED) {
            CNSLog("FComMessengerPipe:: accept error: %d, %s", error, std::strerror(error));
            if (listener.isOpen()) {
                raiseError(worker, error);
            }
            if (failures++ == 5) {
                CNSLog("FComMessengerPipe:: too many accept failures, giving up on pipe: %d",
                       listener.number());
                return;
            }
        }
    }
}

void acceptLoop(PipeWorker worker) {
    const int number = worker.connection->number();
    CNSDbgLog("FComMessengerPipe:: starting accept thread of pipe: %d", number);
    enter(worker);
    acceptPeers(worker);
    leave(worker, true);
    CNSLog("FComMessengerPipe:: terminating accept thread of pipe: %d", number);
}

} // namespace

bool fStartReader(PipeWorker& worker) { return start(readLoop, worker); }
bool fStartAcceptor(PipeWorker& worker) { return start(acceptLoop, worker); }

} // namespace Kvs
