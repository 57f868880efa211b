// SPDX-License-Identifier: MIT

#include "privileged-helper/shared/PHProtocolHandler.h"

#include "core/logging/CNSLog.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <utility>

namespace kvn {
namespace {

constexpr std::size_t kHeader = 8;
constexpr std::size_t kPrefix = 3; // "F71", which a reader ignores
constexpr std::size_t kLongestFrameBody = 0xFFFFF;

/// Returns the length in a frame's header, as scanf's %5X reads it, or 0 when there is none.
std::int32_t bodyLength(const char* header) {
    const std::string digits(header + kPrefix, kHeader - kPrefix);
    return static_cast<std::int32_t>(std::strtoul(digits.c_str(), nullptr, 16));
}

std::optional<std::string> serialize(const PHMessage& message) {
    std::string reason = "no object or array";
    try {
        if (message.isStructured()) {
            std::string text = message.serialize();
            if (text.size() <= kLongestFrameBody) {
                return text;
            }
            reason = "too long";
        }
    } catch (const std::exception& error) {
        reason = error.what();
    }
    Kvs::OCNSLog("PHProtocolHandler: Failed to serialize msg, error: %@", reason);
    return std::nullopt;
}

/// Returns nullopt when the bytes are not UTF-8.
std::optional<std::string> textOf(std::string_view bytes) {
    std::string text(bytes);
    try {
        PHMessage(text).serialize();
        return text;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<PHMessage> deserialize(std::string_view body) {
    const auto failed = [&](const std::string& reason) {
        const auto text = textOf(body);
        Kvs::OCNSLog("PHProtocolHandler: Failed to deserialize JSON message: %@, error: %@", text,
                     text ? reason : "not UTF-8");
        return std::nullopt;
    };
    try {
        PHMessage message = PHMessage::parse(body);
        return message.isStructured() ? std::optional(std::move(message)) : failed("no object or array");
    } catch (const std::exception& error) {
        return failed(error.what());
    }
}

/// Removes white space of every kind that Unicode defines.
std::string withoutSpaces(std::string text) {
    for (const std::string_view space :
         {"\t",     "\n",     "\f",     "\r",     " ",      "\u00A0", "\u1680", "\u2000",
          "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
          "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
        for (auto at = text.find(space); at != text.npos; at = text.find(space, at)) {
            text.erase(at, space.size());
        }
    }
    return text;
}

} // namespace

PHProtocolHandler::PHProtocolHandler(Kvs::FileDescriptor connection, bool trace) : traceOn_(trace) {
    setConnection(std::move(connection));
}

PHProtocolHandler::~PHProtocolHandler() { closeConnection(); }

void PHProtocolHandler::setConnection(Kvs::FileDescriptor connection) {
    setConnection(connection ? std::make_shared<PHConnection>(std::move(connection)) : nullptr);
}

void PHProtocolHandler::setConnection(Connection connection) {
    {
        Kvs::FLockGuard guard(connectionLock_);
        if (!closedForGood_ || !connection) {
            std::swap(connection_, connection);
        }
    }
    if (connection) {
        connection->shutDown();
    }
}

int PHProtocolHandler::conFd() const {
    const Connection connection = this->connection();
    return connection ? connection->number() : -1;
}

PHProtocolHandler::Connection PHProtocolHandler::connection() const {
    Kvs::FLockGuard guard(connectionLock_);
    return connection_;
}

void PHProtocolHandler::closeConnection() { setConnection(Connection()); }

void PHProtocolHandler::closeConnection(const Connection& connection) { closeFailed(connection); }

void PHProtocolHandler::closeForGood() {
    {
        Kvs::FLockGuard guard(connectionLock_);
        closedForGood_ = true;
    }
    closeConnection();
}

/// Returns false when the handler got another connection meanwhile.
bool PHProtocolHandler::closeFailed(const Connection& failed) {
    if (failed) {
        failed->shutDown();
    }
    Kvs::FLockGuard guard(connectionLock_);
    if (connection_ == failed) {
        connection_.reset();
    }
    return !connection_;
}

void PHProtocolHandler::setDelegate(PHConnectionDelegate* delegate) {
    Kvs::FLockGuard guard(delegateLock_);
    delegate_ = delegate;
    waitForCalls();
}

void PHProtocolHandler::removeDelegate(const PHConnectionDelegate& delegate) {
    Kvs::FLockGuard guard(delegateLock_);
    if (delegate_ == &delegate) {
        delegate_ = nullptr;
    }
    waitForCalls();
}

void PHProtocolHandler::waitForCalls() {
    delegateChanged_.notify_all(); // a thread that waits in `report` then sees that there is no delegate
    // The caller may destroy the former delegate next, so every call must have returned, even one that began
    // before the delegate was removed. A thread does not wait for a call that it is making itself.
    while (callDepth_ > 0 && caller_ != std::this_thread::get_id()) {
        delegateChanged_.wait(delegateLock_);
    }
}

void PHProtocolHandler::report(const Connection& failed, const Report& notify) {
    PHConnectionDelegate* delegate = nullptr;
    {
        // The connection is closed under the lock, in one step with entering `caller_`. A reader that the
        // shutdown wakes therefore waits here, and the failure that came first is reported first.
        Kvs::FLockGuard guard(delegateLock_);
        const auto self = std::this_thread::get_id();
        // Only one thread at a time calls the delegate, which need not be thread-safe.
        while (callDepth_ > 0 && caller_ != self && delegate_) {
            delegateChanged_.wait(delegateLock_);
        }
        if (!closeFailed(failed) || !delegate_) {
            return; // the end of a replaced connection is not reported to the delegate of the new one
        }
        delegate = delegate_;
        caller_ = self;
        ++callDepth_;
    }
    notify(*delegate);
    Kvs::FLockGuard guard(delegateLock_);
    --callDepth_;
    delegateChanged_.notify_all();
}

void PHProtocolHandler::reportIOError(const Connection& failed, const std::string& text, int code) {
    report(failed, [&](PHConnectionDelegate& delegate) {
        if (code == EPIPE) {
            delegate.connectionClosed(*this);
        } else {
            delegate.connctionFailedWithError(*this, {"IO", code, text + ", error: " + std::to_string(code)});
        }
    });
}

void PHProtocolHandler::reportError(const Connection& failed, const std::string& text, int code) {
    report(failed, [&](PHConnectionDelegate& delegate) {
        delegate.connctionFailedWithError(*this, {"PH", code, text});
    });
}

bool PHProtocolHandler::sendMessage(const PHMessage& message) {
    const Connection connection = this->connection();
    if (!connection) {
        reportIOError(connection, "Can't send message, not connected", kNotConnected);
        return false;
    }
    const auto text = serialize(message);
    if (!text) {
        return false;
    }
    std::array<char, kHeader + 1> header{};
    std::snprintf(header.data(), header.size(), "F71%05X", static_cast<unsigned int>(text->size()));
    const std::string frame = header.data() + *text;
    if (traceOn_) {
        Kvs::OCNSLog("Sending Message: %s", *text);
    }
    // Counted first: the answer may be read, on the event thread, before the write returns.
    ++sentMessages_;
    if (const int error = connection->writeAll(frame.data(), frame.size()); error != 0) {
        --sentMessages_;
        reportIOError(connection, "Failed to send message: " + *text, error);
        return false;
    }
    return true;
}

std::optional<PHMessage> PHProtocolHandler::readMessage() { return readMessage(connection()); }

std::optional<PHMessage> PHProtocolHandler::readMessage(const Connection& connection) {
    if (!connection) {
        reportIOError(connection, "PHProtocolhandler connection closed", kNotConnected);
        return std::nullopt;
    }
    for (;;) {
        std::array<char, kHeader> header;
        if (const int error = connection->readAll(header.data(), header.size()); error != 0) {
            if (error != EPIPE) {
                Kvs::OCNSLog("PHProtocolhandler Read failed: %d", error);
            }
            reportIOError(connection, "Failed to read message header", error);
            return std::nullopt;
        }
        const std::int32_t length = bodyLength(header.data());
        if (length < 1 || length > static_cast<std::int32_t>(kMaxBody)) {
            reportIOError(connection, "Invalid message size: " + std::to_string(length), kProtocolError);
            return std::nullopt;
        }
        std::array<char, kMaxBody + 1> body;
        const auto size = static_cast<std::size_t>(length);
        if (const int error = connection->readAll(body.data(), size); error != 0) {
            reportIOError(connection, "Failed to read message body", error);
            return std::nullopt;
        }
        if (auto message = parseMessage(connection, {body.data(), size})) {
            return message;
        }
        // The connection is closed now. The next round fails and reports that as well.
    }
}

std::optional<PHMessage> PHProtocolHandler::parseMessage(const Connection& connection,
                                                         std::string_view body) {
    if (traceOn_) {
        const auto text = textOf(body);
        Kvs::OCNSLog("Received Message: %@", text ? std::optional(withoutSpaces(*text)) : text);
    }
    auto message = deserialize(body);
    if (!message) {
        Kvs::OCNSLog("Failed to parse message: %@", textOf(body));
        reportError(connection, "Failed to deserialize message", kProtocolError);
    }
    return message;
}

int PHSetNonBlocking(int descriptor, bool nonBlocking) {
    if (descriptor < 0) {
        return EBADF;
    }
    const auto failed = [&] {
        const int error = errno;
        Kvs::CNSLog("Failed to set blocking mode: %d for fd: %d, error: %d", nonBlocking ? 0 : 1, descriptor,
                    error);
        return error;
    };
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags < 0) {
        return failed();
    }
    if (((flags & O_NONBLOCK) != 0) == nonBlocking) {
        return 0;
    }
    return ::fcntl(descriptor, F_SETFL, flags ^ O_NONBLOCK) < 0 ? failed() : 0;
}

} // namespace kvn
