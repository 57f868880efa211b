#pragma once

#include "core/system/FileDescriptor.h"
#include "standins/service-daemon/LineReader.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace kvn::daemon {

/// A Unix stream socket that takes one command a line and answers with one line each. Main thread.
class ControlSocket {
public:
    using Perform = std::function<std::string(const std::string& command)>;

    /// Throws std::system_error when the socket cannot be made, or answers already for another daemon.
    ControlSocket(host::MainLoop& loop, std::string path, Perform perform);

    /// Removes the socket file.
    ~ControlSocket();
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

private:
    struct Client {
        Kvs::FileDescriptor socket;
        std::unique_ptr<LineReader> reader;
    };

    void accept();
    void answer(int client, const std::string& command);
    void forget(int client);

    host::MainLoop& loop_;
    const std::string path_;
    const Perform perform_;
    Kvs::FileDescriptor listener_;
    host::MainLoop::Handle watch_;
    std::map<int, Client> clients_; // by the descriptor's number
};

} // namespace kvn::daemon
