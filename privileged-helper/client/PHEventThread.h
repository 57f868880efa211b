#pragma once

#include "core/threads/FThread.h"
#include "host/MainLoop.h"
#include "privileged-helper/shared/PHProtocolHandler.h"

#include <atomic>
#include <memory>
#include <semaphore>

namespace kvn {

/// What an event thread tells its client.
class PHEventThreadClient {
public:
    virtual ~PHEventThreadClient() = default;

    /// A message of the helper. Main thread.
    virtual bool dispatchAgentEvent(const PHMessage& message) = 0;

    /// The connection ended; `error` is null when the helper closed it. Told once by an event thread, on the
    /// thread that met the end: itself, or one whose message could not be sent.
    virtual void eventThreadTerminatedWithError(const host::Error* error) = 0;
};

/// Reads the messages of one connection on a thread of its own and forwards them to the client on the main
/// thread; while many wait there it reads no more. Held by a shared pointer. Any thread.
class PHEventThread : public PHConnectionDelegate, public std::enable_shared_from_this<PHEventThread> {
public:
    /// For the handler's connection of this moment; becomes the handler's delegate. The loop outlives the
    /// client.
    PHEventThread(std::shared_ptr<PHProtocolHandler> handler, std::weak_ptr<PHEventThreadClient> client,
                  host::MainLoop& loop);
    ~PHEventThread() override;

    /// Once. False when the system has no thread left; this one then counts as ended.
    bool start();

    /// Closes the connection and waits for the thread, except on the thread itself. Nothing is reported
    /// after it returns; messages that wait in the main loop are still delivered.
    void stop();

    /// Whether the connection was given up, by its end or by `stop`.
    bool hasEnded() const { return ended_; }

    /// The one that is read.
    const PHProtocolHandler::Connection& connection() const { return connection_; }

    void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) override;
    void connectionClosed(PHProtocolHandler& handler) override;

private:
    class Body;

    static constexpr int kMostWaiting = 256; // messages in the main loop; more are left in the socket

    void main();
    bool giveUp();
    void tellClient(const host::Error* error);

    const std::shared_ptr<PHProtocolHandler> handler_;
    const PHProtocolHandler::Connection connection_;
    const std::weak_ptr<PHEventThreadClient> client_;
    host::MainLoop& loop_;
    const std::shared_ptr<std::counting_semaphore<>> room_ =
        std::make_shared<std::counting_semaphore<>>(kMostWaiting); // for messages; may outlive this
    std::atomic<bool> ended_ = false;
    Kvs::FThread thread_;
};

} // namespace kvn
