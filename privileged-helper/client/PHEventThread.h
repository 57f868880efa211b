// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThread.h"
#include "core/threads/FThreadCondition.h"
#include "host/MainLoop.h"
#include "privileged-helper/shared/PHProtocolHandler.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace kvn {

/// Reads the messages of one connection on a thread of its own and forwards them to the client on the main
/// thread. It leaves further messages in the socket while many of them wait there, and when the helper sends
/// more than answers to what was sent to it: 50 of these a second after the first 500. Held by a shared
/// pointer. Any thread.
class PHEventThread : public PHConnectionDelegate, public std::enable_shared_from_this<PHEventThread> {
public:
    /// Functions that reach the client if it still exists. Both may be called after the client has been
    /// destroyed.
    struct Client {
        /// Called with a message of the helper. Main thread.
        std::function<void(const PHMessage& message)> dispatchAgentEvent;

        /// Called when the connection has ended; `error` is null when the helper closed it. Called at most
        /// once, on the thread that noticed the end: the event thread, or a thread whose message could not be
        /// sent. Not called by a thread without a connection, which has none that could end.
        std::function<void(const host::Error* error)> terminatedWithError;
    };

    /// Reads the handler's present connection; becomes the handler's delegate. The loop outlives the client.
    PHEventThread(std::shared_ptr<PHProtocolHandler> handler, Client client, host::MainLoop& loop);
    ~PHEventThread() override;

    /// Called once. Returns false when the system has no thread left; `hasEnded` is true then.
    bool start();

    /// Closes the connection and waits for the thread, except on the thread itself. When it returns, no end
    /// is or will be reported; messages that wait in the main loop are still delivered.
    void stop();

    /// Returns true once the connection has ended or `stop` was called.
    bool hasEnded() const { return ended_; }

    /// Returns the connection that is read.
    const PHProtocolHandler::Connection& connection() const { return connection_; }

    void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) override;
    void connectionClosed(PHProtocolHandler& handler) override;

private:
    class Body;
    struct Delivery;

    void main();
    void keepPace();
    bool giveUp();

    const std::shared_ptr<PHProtocolHandler> handler_;
    const PHProtocolHandler::Connection connection_;
    const std::shared_ptr<Delivery>
        delivery_; // shared with the messages in the main loop, which outlive this
    host::MainLoop& loop_;
    std::atomic<bool> ended_ = false;
    Kvs::FThreadCondition givenUp_;

    // Used on the event thread only.
    std::uint64_t received_ = 0;
    std::chrono::steady_clock::time_point nextUnasked_; // when a message that answers nothing may be taken
    Kvs::FThread thread_;
};

} // namespace kvn
