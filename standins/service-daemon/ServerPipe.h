// SPDX-License-Identifier: MIT

#pragma once

#include "core/messenger/FComMessengerPipe.h"
#include "core/system/PosixDifferences.h"
#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "remote/xml/FEncXmlDocument.h"

#include <memory>
#include <set>
#include <string>

namespace kvn::daemon {

class ServerPipe;

/// A connected process.
struct Peer {
    std::string name; ///< its connection's descriptor in decimal
    Kvs::PeerCredentials credentials;
};

/// Receives the events of a pipe. Main thread.
class ServerPipeListener {
public:
    virtual ~ServerPipeListener() = default;

    /// Returns null, or why the message is not obeyed.
    virtual const char* received(ServerPipe& pipe, const Peer& peer,
                                 const Kvs::FEncXmlNode<char>& message) = 0;
    virtual void peerClosed(const std::string& peer) = 0;
};

/// The service's end of one pipe: splits the received bytes into messages, and prints one line on standard
/// output for each message ("<-" received, "<?" not XML, "->" sent, "-x" not sent, "--" anything else). A
/// peer is named by its descriptor in decimal. The loop and the listener outlive the pipe, which outlives the
/// loop's `run`. Main thread.
class ServerPipe {
public:
    /// Throws std::system_error when the pipe cannot be opened.
    ServerPipe(host::MainLoop& loop, const wchar_t* name, ServerPipeListener& listener);

    /// Closes the connections and removes the socket file.
    ~ServerPipe();
    ServerPipe(const ServerPipe&) = delete;
    ServerPipe& operator=(const ServerPipe&) = delete;

    bool isNamed(const wchar_t* name) const { return name_ == name; }

    /// Returns false when the peer has closed its end or does not read.
    bool send(const std::string& peer, const std::string& bytes);

    /// Closes every connection; peers can connect again. Throws as the constructor does.
    void dropPeers();

private:
    void open();
    void close();
    void dataReceived(Kvs::FComMessenger* messenger, Kvs::FComMessenger::DataReceivedArg& data);
    void readError(Kvs::FComMessenger* messenger, int& error);
    void handle(const Peer& peer, const std::string& bytes);
    void forget(const std::string& peer);

    host::MainLoop& loop_;
    const std::wstring name_;
    const std::string path_;
    ServerPipeListener& listener_;
    Kvs::FEncXmlDocument<char> document_;
    std::unique_ptr<Kvs::FComMessengerPipe> messenger_;
    Kvs::FThreadLock lock_;
    std::set<std::string> peers_ KVS_GUARDED_BY(lock_); // those that have sent something
};

} // namespace kvn::daemon
