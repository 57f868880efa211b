#pragma once

#include "core/base/Containers.h"
#include "remote/xml/FEncXmlDocument.h"
#include "standins/service-daemon/Outbox.h"
#include "standins/service-daemon/ServerPipe.h"
#include "standins/service-daemon/ServiceState.h"

#include <functional>
#include <string>

namespace kvn::daemon {

/// An agent that registered.
struct Agent {
    std::string session;
    std::string user;
    std::string processId;
};

/// The remote service as its agents see it: both pipes, the agents, and an answer to each request.
/// Main thread.
class Service : private ServerPipeListener {
public:
    /// Throws std::system_error when a pipe cannot be opened.
    explicit Service(host::MainLoop& loop);

    /// Sends a message to every registered agent; returns to how many.
    int push(const std::string& message);
    int pushStatus() { return push(statusMessage(state, 0)); }

    /// Closes every connection.
    void dropPeers();

    /// The registered agents by their peer.
    const Kvs::FMap<std::string, Agent>& agents() const { return agents_; }

    /// Called with the name of every message that comes, after it was answered.
    void onMessage(std::function<void(const std::string& tag)> listener) { onMessage_ = std::move(listener); }

    ServiceState state;
    bool refusesAgents = false;
    Outbox outbox;

private:
    using Message = Kvs::FEncXmlNode<char>;
    struct Request;

    void received(ServerPipe& pipe, const std::string& peer, const std::string& bytes) override;
    void peerClosed(const std::string& peer) override;
    void handle(ServerPipe& pipe, const std::string& peer, const Message& message);

    void answerStatus(const Request& request);
    void answerServerStatus(const Request& request);
    void registerAgent(const Request& request);
    void unregisterAgent(const Request& request);
    void pause(const Request& request);
    void proceed(const Request& request);
    void takeNote(const Request& request);
    void answerResult(const Request& request, int statusCode);

    std::function<void(const std::string& tag)> onMessage_ = [](const std::string&) {};
    Kvs::FMap<std::string, Agent> agents_;
    Kvs::FEncXmlDocument<char> document_;
    ServerPipe clientPipe_;
    ServerPipe serverPipe_;
};

} // namespace kvn::daemon
