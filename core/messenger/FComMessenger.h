// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/base/Errors.h"
#include "core/events/FEvent.h"
#include "core/text/FGStr.h"

#include <cerrno>
#include <chrono>
#include <cstdint>

namespace Kvs {

/// A byte-stream transport between programs of one machine. It adds no framing: bytes arrive in the pieces
/// that the system delivers, and the handlers separate the messages.
class FComMessenger {
public:
    /// The argument of `DataReceived`. It belongs to the handlers for the duration of one raise.
    struct DataReceivedArg {
        FGStr<wchar_t> sender; ///< identity of the peer, which `send` accepts as its target
        FList<unsigned char>
            data; ///< the bytes of one read, 1 to 4096; a handler copies or moves out the bytes that it keeps
        /// A handler may set how long the transport waits before it reads on, so that a sender of too much
        /// has to wait.
        std::chrono::milliseconds pause{0};
    };

    template <class T>
    using DataReceivedDelegate = FEventDelegate<T, FComMessenger, DataReceivedArg>;
    template <class T>
    using ReadErrorDelegate = FEventDelegate<T, FComMessenger, int>;

    FComMessenger() = default;
    virtual ~FComMessenger() = default;
    FComMessenger(const FComMessenger&) = delete;
    FComMessenger& operator=(const FComMessenger&) = delete;

    /// Opens this end under the name. Returns 0 or an error number.
    virtual FResult open(const wchar_t* name) = 0;

    /// Calls `endReceive` and clears the name. Returns 0.
    virtual FResult close() = 0;

    /// Starts receiving. Returns 0, kFailure when no thread could be started, or kInvalidState when it is not
    /// idle or not open.
    virtual FResult beginReceive() = 0;

    /// Stops receiving and closes the connections. Returns 0.
    virtual FResult endReceive() = 0;

    virtual bool isReceiving() = 0;

    /// Sends bytes, in one write. `written` is the count that was taken, which may be short of `length`.
    /// Returns 0, kFailure or an error number.
    virtual FResult send(const wchar_t* target, const unsigned char* data, long length, long& written) = 0;

    /// Returns the error number of the calling thread's last failed system call.
    static std::uint32_t ThreadGetLastError() { return static_cast<std::uint32_t>(errno); }

    /// Raised on the transport's thread for every piece of data.
    FEvent<FComMessenger, DataReceivedArg> DataReceived;
    /// Raised on the transport's thread, with an error number, when a connection ends or fails.
    FEvent<FComMessenger, int> ReadError;
};

} // namespace Kvs
