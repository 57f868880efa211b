// SPDX-License-Identifier: MIT

#pragma once

#include "host/posix/LineReader.h"
#include "standins/LocalSocket.h"
#include "standins/service-daemon/Service.h"

#include <map>
#include <memory>
#include <string>

namespace kvn::daemon {

/// The control socket, over which a user or a test commands the service: one command a line, each answered
/// with one line. Main thread.
class Control {
public:
    /// `loop` and `service` outlive this object. Throws std::system_error when the socket cannot be made.
    Control(host::MainLoop& loop, Service& service, std::string path);

private:
    struct Client {
        Kvs::FileDescriptor socket;
        std::unique_ptr<host::LineReader> reader;
    };

    void accept();
    void answer(int client, std::string text);

    host::MainLoop& loop_;
    Service& service_;
    ListeningSocket listener_;
    std::map<int, Client> clients_; // by the descriptor's number
    host::MainLoop::Handle watch_;
};

} // namespace kvn::daemon
