// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/MainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "host/posix/ThreadWorkQueue.h"
#include "privileged-helper/shared/PHProtocolHandler.h"
#include "standins/LocalSocket.h"
#include "standins/privileged-helper/ServiceJob.h"

#include <functional>
#include <future>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace kvn::helper {

/// Accepts the agents' connections and carries out their commands. Each connection has a thread that reads
/// from it, and each task a thread that waits for it; commands for the service are carried out one after
/// another. Main thread.
class Helper {
public:
    /// The loop outlives the helper. Throws std::system_error when the socket cannot be made.
    Helper(host::MainLoop& loop, std::string version);

    /// Closes the connections, and kills the tasks that are running.
    ~Helper();
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

private:
    using Handler = std::shared_ptr<PHProtocolHandler>;

    struct Session {
        Handler handler;
        std::thread reader;
    };

    void accept();
    void serve(const Handler& handler);
    void command(const Handler& handler, const std::string& name, const PHMessage& message);
    void service(const Handler& handler, const std::string& name, std::function<Outcome()> perform);
    void execute(const Handler& handler, const PHMessage& message);
    void uninstall(const Handler& handler);

    host::MainLoop& loop_;
    const std::string version_;
    ListeningSocket listener_;
    host::PosixProcessRunner runner_;
    host::ThreadWorkQueue serviceQueue_;
    Kvs::FThreadLock lock_;
    std::list<std::future<void>> tasks_ KVS_GUARDED_BY(lock_);
    std::list<Session> sessions_;
    host::MainLoop::Handle watch_;
};

} // namespace kvn::helper
