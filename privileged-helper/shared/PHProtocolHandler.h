// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "core/threads/FThreadLock.h"
#include "host/Error.h"
#include "privileged-helper/shared/PHConnection.h"
#include "privileged-helper/shared/PHMessage.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace kvn {

class PHProtocolHandler;

/// Receives the end of a connection, on the thread that noticed it. The connection is closed by then.
class PHConnectionDelegate {
public:
    virtual ~PHConnectionDelegate() = default;

    /// Called after another failure. `error` has the domain "IO" and an `errno` value or a code of this
    /// layer, or the domain "PH".
    virtual void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) = 0;

    /// Called when the peer has closed the connection.
    virtual void connectionClosed(PHProtocolHandler& handler) = 0;
};

/// Writes and reads messages as frames: "F71", the length of the body as five hexadecimal digits, and the
/// body, a JSON text in UTF-8 of 1 to 511 bytes. A failure closes its connection and is then reported to the
/// delegate, on the same thread. Only one thread at a time may read; the other methods may be called on any
/// thread. The process must ignore SIGPIPE.
class PHProtocolHandler {
public:
    using Connection = std::shared_ptr<PHConnection>;

    /// Codes of errors beside the errno values.
    static constexpr int kProtocolError = -101;
    static constexpr int kNotConnected = -102;

    static constexpr std::size_t kMaxBody = 511;

    /// `connection` is a connected stream socket or empty; `trace` logs every message.
    PHProtocolHandler(Kvs::FileDescriptor connection, bool trace);
    virtual ~PHProtocolHandler();
    PHProtocolHandler(const PHProtocolHandler&) = delete;
    PHProtocolHandler& operator=(const PHProtocolHandler&) = delete;

    /// Replaces the connection; the former one is closed.
    void setConnection(Kvs::FileDescriptor connection);
    void setConnection(Connection connection);
    bool isConnected() const { return connection() != nullptr; }
    /// Returns the descriptor's number, -1 when not connected. It may be closed at any time; to use it, hold
    /// the connection.
    int conFd() const;
    /// Returns null when not connected.
    Connection connection() const;

    /// Makes a blocked read or write return. This call itself reports nothing to the delegate.
    void closeConnection();
    /// Closes this connection. If the handler has been given another one meanwhile, it keeps that.
    void closeConnection(const Connection& connection);

    /// Closes the connection, and from then on every connection that the handler is given.
    void closeForGood();

    /// The delegate is not owned. When the call returns, no thread is calling the former delegate or will
    /// call it. If a call of the delegate itself removes it, only that call is still running.
    void setDelegate(PHConnectionDelegate* delegate);
    /// Removes this delegate if the handler still has it; otherwise only waits like `setDelegate`.
    void removeDelegate(const PHConnectionDelegate& delegate);

    /// Returns true if the whole frame was written. A message that is not a JSON object or array, contains
    /// broken UTF-8 or is too long for a frame is logged and not sent; the connection stays open.
    bool sendMessage(const PHMessage& message);
    /// Returns the number of messages that were sent, or are being sent, on all connections.
    std::uint64_t sentMessages() const { return sentMessages_; }

    /// Blocks until a whole message has arrived. Returns nullopt after an error, which has been reported to
    /// the delegate.
    std::optional<PHMessage> readMessage();
    /// Reads from this connection, which may have been closed or replaced.
    std::optional<PHMessage> readMessage(const Connection& connection);

private:
    using Report = std::function<void(PHConnectionDelegate&)>;

    void waitForCalls() KVS_REQUIRES(delegateLock_);
    void report(const Connection& failed, const Report& notify);
    bool closeFailed(const Connection& failed);
    void reportIOError(const Connection& failed, const std::string& text, int code);
    void reportError(const Connection& failed, const std::string& text, int code);
    std::optional<PHMessage> parseMessage(const Connection& connection, std::string_view body);

    const bool traceOn_;
    mutable Kvs::FThreadLock connectionLock_;
    Connection connection_ KVS_GUARDED_BY(connectionLock_);
    bool closedForGood_ KVS_GUARDED_BY(connectionLock_) = false;
    std::atomic<std::uint64_t> sentMessages_ = 0;

    // The lock is not held during a call of the delegate, which may call the handler, or take a lock of its
    // own that another thread holds while it removes the delegate. `caller_` and `callDepth_` take the place
    // of the lock meanwhile.
    Kvs::FThreadLock delegateLock_;
    std::condition_variable_any delegateChanged_;
    PHConnectionDelegate* delegate_ KVS_GUARDED_BY(delegateLock_) = nullptr;
    std::thread::id caller_ KVS_GUARDED_BY(delegateLock_); // the thread that is calling the delegate
    int callDepth_ KVS_GUARDED_BY(delegateLock_) = 0;      // more than 1 if a call causes the next failure
};

/// Sets the descriptor's blocking mode. Returns 0 or an `errno` value.
int PHSetNonBlocking(int descriptor, bool nonBlocking);

} // namespace kvn
