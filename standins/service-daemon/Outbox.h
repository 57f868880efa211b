#pragma once

#include "host/MainLoop.h"
#include "standins/service-daemon/ServerPipe.h"

#include <chrono>
#include <random>
#include <string>

namespace kvn::daemon {

/// How the service fails to answer as it should.
struct AnswerFaults {
    bool silent = false;
    std::chrono::milliseconds late{0};
    int nonsense = 0;   ///< so many answers are nonsense
    bool split = false; ///< the next answer comes in two pieces
};

/// Sends what the service says, and prints it. Main thread.
class Outbox {
public:
    /// So many kinds of nonsense come in turn.
    static constexpr int kNonsenseKinds = 6;

    explicit Outbox(host::MainLoop& loop) : loop_(loop) {}

    /// Sends an answer in the way that the faults want.
    void answer(ServerPipe& pipe, const std::string& peer, const std::string& message);

    /// Sends a message of the service's own accord. False when the peer is gone or does not read.
    bool push(ServerPipe& pipe, const std::string& peer, const std::string& message);

    AnswerFaults faults;

private:
    void deliver(ServerPipe& pipe, const std::string& peer, const std::string& message);
    std::string nextNonsense(const std::string& message);

    host::MainLoop& loop_;
    int nonsenseKind_ = 0;
    std::minstd_rand random_;
};

} // namespace kvn::daemon
