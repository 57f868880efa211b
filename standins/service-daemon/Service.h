// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "standins/service-daemon/ServerPipe.h"
#include "standins/service-daemon/ServiceState.h"

#include <string>

namespace kvn::daemon {

/// An agent that registered.
struct Agent {
    std::string session;
    std::string user;
    std::string processId;
};

/// The ways in which the service fails to answer as it should.
struct AnswerFaults {
    bool refuse = false; ///< registrations fail
    bool silent = false;
    int late = 0;    ///< milliseconds before each answer
    int garbage = 0; ///< the number of answers to replace by nonsense
};

/// Simulates the remote service: holds both pipes and the registered agents, and answers each request. Any
/// user may connect. A registration is accepted only for the user and the process that the peer really is,
/// and what changes the service or the machine only from root and from the service's own user. Main thread.
class Service : private ServerPipeListener {
public:
    /// The number of kinds of nonsense, which are sent in turn.
    static constexpr int kGarbageKinds = 4;

    /// Throws std::system_error when a pipe cannot be opened.
    explicit Service(host::MainLoop& loop);

    /// Sends a message to every registered agent. Returns the number of agents that were reached.
    int push(const std::string& message);
    int pushStatus() { return push(statusMessage(state, 0)); }

    /// Closes every connection.
    void dropPeers();

    /// Returns the registered agents by their peer.
    const Kvs::FMap<std::string, Agent>& agents() const { return agents_; }

    ServiceState state;
    AnswerFaults faults;

private:
    using Message = Kvs::FEncXmlNode<char>;
    struct Request;

    const char* received(ServerPipe& pipe, const Peer& peer, const Message& message) override;
    void peerClosed(const std::string& peer) override { agents_.remove(peer); }

    void answerStatus(const Request& request);
    void answerServerStatus(const Request& request);
    void registerAgent(const Request& request);
    void unregisterAgent(const Request& request);
    void pause(const Request& request);
    void proceed(const Request& request);
    void accept(const Request& request);
    void answerResult(const Request& request, int statusCode);
    void answer(const Request& request, const std::string& message);
    void answerNow(ServerPipe& pipe, const std::string& peer, const std::string& message);

    host::MainLoop& loop_;
    Kvs::FMap<std::string, Agent> agents_;
    int nextGarbage_ = 0;
    ServerPipe clientPipe_;
    ServerPipe serverPipe_;
};

} // namespace kvn::daemon
