#pragma once

#include "core/messenger/FComMessengerPipe.h"
#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"

#include <memory>
#include <set>
#include <string>

namespace kvn::daemon {

class ServerPipe;

/// Hears what happens on a pipe. Main thread.
class ServerPipeListener {
public:
    virtual ~ServerPipeListener() = default;
    virtual void received(ServerPipe& pipe, const std::string& peer, const std::string& bytes) = 0;
    virtual void peerClosed(const std::string& peer) = 0;
};

/// The service's end of one pipe: passes everything on to the main thread. The loop and the listener
/// outlive it; it outlives the loop's `run`. A peer is named by its descriptor in decimal. Main thread.
class ServerPipe {
public:
    /// Throws std::system_error when the pipe cannot be opened.
    ServerPipe(host::MainLoop& loop, const wchar_t* name, ServerPipeListener& listener);

    /// Closes the connections and removes the socket file.
    ~ServerPipe();
    ServerPipe(const ServerPipe&) = delete;
    ServerPipe& operator=(const ServerPipe&) = delete;

    bool isNamed(const wchar_t* name) const { return name_ == name; }

    /// False when the peer is gone or does not read.
    bool send(const std::string& peer, const std::string& bytes);

    /// Closes every connection; new ones are welcome. Throws as the constructor.
    void dropPeers();

private:
    void open();
    void close();
    void dataReceived(Kvs::FComMessenger* messenger, Kvs::FComMessenger::DataReceivedArg& data);
    void readError(Kvs::FComMessenger* messenger, int& error);

    host::MainLoop& loop_;
    const std::wstring name_;
    const std::string path_;
    ServerPipeListener& listener_;
    std::unique_ptr<Kvs::FComMessengerPipe> messenger_;
    Kvs::FThreadLock lock_;
    std::set<std::string> peers_ KVS_GUARDED_BY(lock_); // those that have sent something
};

} // namespace kvn::daemon
