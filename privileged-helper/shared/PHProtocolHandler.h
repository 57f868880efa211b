#pragma once

#include "core/system/FileDescriptor.h"
#include "core/threads/FThreadLock.h"
#include "privileged-helper/shared/PHConnection.h"
#include "privileged-helper/shared/PHConnectionDelegate.h"
#include "privileged-helper/shared/PHMessage.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace kvn {

/// Writes and reads messages as frames: "F71", the length of the body as five hexadecimal digits, and the
/// body, a JSON text in UTF-8 of 1 to 511 bytes. What fails closes the connection that it happened on,
/// then is told to the delegate, on the same thread. One thread reads at a time; any may do the rest.
/// The process ignores SIGPIPE.
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
    bool isConnected() const { return connection() != nullptr; }
    /// The descriptor's number to look at, -1 when not connected.
    int conFd() const;
    /// Empty when not connected.
    Connection connection() const;

    /// Makes a blocked read or write return; nothing is told to the delegate by this call.
    void closeConnection();
    /// The same for this connection, and only if it is still the handler's.
    void closeConnection(const Connection& connection);

    /// The delegate is not owned. When the call returns, the former delegate is not being called and will
    /// not be any more; except within such a call on the same thread, which does not wait for itself.
    void setDelegate(PHConnectionDelegate* delegate);
    /// The same, leaving the handler without delegate if it has this one.
    void removeDelegate(const PHConnectionDelegate& delegate);

    /// Whether the whole frame was written. A message that is no JSON object or array, holds broken UTF-8
    /// or is too long for a frame is logged and not sent; the connection stays open.
    bool sendMessage(const PHMessage& message);

    /// Blocks until a whole message has arrived; nothing when an error, told to the delegate, ended that.
    std::optional<PHMessage> readMessage();
    /// The same from this connection, which may have been closed or replaced.
    std::optional<PHMessage> readMessage(const Connection& connection);

private:
    using Tell = std::function<void(PHConnectionDelegate&)>;

    void waitForCalls() KVS_REQUIRES(delegateLock_);
    void report(const Connection& failed, const Tell& tell);
    bool closeFailed(const Connection& failed);
    void reportIOError(const Connection& failed, const std::string& text, int code);
    void reportError(const Connection& failed, const std::string& text, int code);
    std::optional<PHMessage> parseMessage(const Connection& connection, std::string_view body);

    const bool traceOn_;
    mutable Kvs::FThreadLock connectionLock_;
    Connection connection_ KVS_GUARDED_BY(connectionLock_);

    Kvs::FThreadLock delegateLock_; // not held during a call of the delegate
    std::condition_variable_any delegateChanged_;
    PHConnectionDelegate* delegate_ KVS_GUARDED_BY(delegateLock_) = nullptr;
    std::thread::id caller_ KVS_GUARDED_BY(delegateLock_); // of the delegate
    int callDepth_ KVS_GUARDED_BY(delegateLock_) = 0;
};

/// Sets the descriptor's blocking mode; 0 or an errno value.
int PHSetNonBlocking(int descriptor, bool nonBlocking);

} // namespace kvn
