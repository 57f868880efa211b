// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/FRef.h"
#include "core/messenger/FComMessenger.h"

#include <string>

namespace Kvs {

struct FPipeState;

/// The argument of `ReadError` when the peer has closed its end, on every system: the wire partners
/// and the logs know it as macOS's ECONNRESET, whose number other systems use for something else.
inline constexpr int kPeerClosedError = 54;

/// A messenger over a Unix-domain socket whose file is in "/var/tmp/com.korvane/pipes" and has the
/// pipe's name. A server end makes the file and accepts any number of peers; a client end connects.
///
/// Any thread may call. Events are raised on the thread that reads the connection (accept errors on
/// the accepting one), never under the pipe's lock; handlers may send.
///
/// `endReceive`, `close` and the destructor wait until the pipe's threads have ended, that is until
/// running handlers have returned: the caller must hold no lock that a handler takes. Called from one of
/// the pipe's own handlers they do not wait. A handler may therefore close its pipe, and the handler of a
/// client end may even destroy it; the handler of a server end must not.
///
/// The process must ignore SIGPIPE.
class FComMessengerPipe final : public FComMessenger {
public:
    /// The second flag is part of the interface and has no effect.
    FComMessengerPipe(bool server, bool second);
    ~FComMessengerPipe() override;

    /// A null name counts as an empty one. Does not wait: for a server that accepts no peers the result is
    /// EAGAIN (on some systems ECONNREFUSED). A server that is a process of another user than root and this
    /// one is not spoken to: the result is EACCES. Replaces a socket that is already open; the former socket
    /// is closed when no thread receives from it any more.
    FResult open(const wchar_t* name) override;

    FResult close() override;

    /// A client end may begin again after its reader has ended, on the same socket. An end that is closed
    /// while nothing receives (it never began, or its reader has ended), or whose thread could not be
    /// started, never becomes idle again: create a new pipe.
    FResult beginReceive() override;

    FResult endReceive() override;

    bool isReceiving() override;

    /// A client end ignores the target. If the server does not read, the write fails with EAGAIN or ends
    /// short after 20 ms. A server end sends to the peer whose number the target begins with (kFailure when
    /// there is none), or, without a target, to all; `written` is then the count of the last write that
    /// succeeded, and the result 0. It waits at most two seconds for a peer that does not read, and drops it.
    FResult send(const wchar_t* target, const unsigned char* data, long length, long& written) override;

    /// Returns true if this is the name of the last `open`; a closed pipe has the empty name.
    bool hasName(const wchar_t* name);

    /// Returns the path of the socket file, cut to the length that an address can hold. With `create`, makes
    /// missing directories.
    static std::string pipeFullPath(const wchar_t* name, bool create);

private:
    FResult openOnServer(const wchar_t* name);
    FResult openOnClient(const wchar_t* name);

    FRef<FPipeState> state_; // shared with the threads, which may outlive the pipe
};

} // namespace Kvs
