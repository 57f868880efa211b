// SPDX-License-Identifier: MIT

#include "standins/service-daemon/Service.h"

#include "core/system/Trust.h"
#include "remote/FRSCtrl.h"
#include "remote/ServiceMessages.h"
#include "remote/xml/FEncXml.h"

#include <chrono>
#include <pwd.h>

namespace kvn::daemon {
namespace {

namespace FRSCtrl = Kvs::FRSCtrl;

constexpr int kAccepted = 0;
constexpr int kRefused = 5;

std::string attribute(const Kvs::FEncXmlNode<char>& message, const char* name) {
    Kvs::FMStr<char> decoded;
    Kvs::FEncXml<char>::addDecoded(decoded, message.attribute(name));
    return std::string(decoded.token());
}

/// Returns true if the agent is this process of this user, whose number stands for a missing name.
bool is(const Agent& agent, const Kvs::PeerCredentials& peer) {
    const passwd* const user = ::getpwuid(peer.user);
    return agent.user == (user ? user->pw_name : std::to_string(peer.user)) &&
           agent.processId == std::to_string(peer.process);
}

std::string garbage(int kind, const std::string& message) {
    switch (kind) {
    case 0:
        return message.substr(0, message.find_last_of('<')) + "</Other>";
    case 1:
        return std::string(64, '\0');
    case 2:
        return message.substr(0, message.size() / 2);
    default:
        return "<<<>>>< Status Value=\"online RequestData=1 /></>&#;&#x;" + message.substr(1);
    }
}

} // namespace

struct Service::Request {
    ServerPipe& pipe;
    const Peer& peer;
    const Message& message;

    std::int64_t identifier() const {
        return Kvs::fLeadingNumber(attribute(message, FRSCtrl::Attr_RequestData));
    }
};

Service::Service(host::MainLoop& loop)
    : loop_(loop), clientPipe_(loop, FRSCtrl::Pipe_RemoteClient, *this),
      serverPipe_(loop, FRSCtrl::Pipe_RemoteServer, *this) {}

int Service::push(const std::string& message) {
    int reached = 0;
    for (const auto& [peer, agent] : agents_) {
        reached += clientPipe_.send(peer, message) ? 1 : 0;
    }
    return reached;
}

void Service::dropPeers() {
    clientPipe_.dropPeers();
    serverPipe_.dropPeers();
}

const char* Service::received(ServerPipe& pipe, const Peer& peer, const Message& message) {
    struct Handler {
        const wchar_t* pipe;
        const char* tag;
        void (Service::*handle)(const Request&);
        bool forTrustedUsers = false;
    };
    static constexpr Handler kHandlers[] = {
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_GetStatus, &Service::answerStatus},
        {FRSCtrl::Pipe_RemoteServer, FRSCtrl::Tag_GetServerStatus, &Service::answerServerStatus},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_RegisterAgent, &Service::registerAgent},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_UnregisterAgent, &Service::unregisterAgent},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_Pause, &Service::pause, true},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_Continue, &Service::proceed, true},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_RebootSystem, &Service::accept, true},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_ClientLauched, &Service::accept},
    };
    for (const Handler& handler : kHandlers) {
        if (message.name().token() != handler.tag || !pipe.isNamed(handler.pipe)) {
            continue;
        }
        const Request request{pipe, peer, message};
        if (handler.forTrustedUsers && !Kvs::fIsTrustedUser(peer.credentials.user)) {
            answerResult(request, kRefused);
            return "refused to this user";
        }
        (this->*handler.handle)(request);
        return nullptr;
    }
    return "not understood on this pipe";
}

void Service::answerStatus(const Request& request) {
    answer(request, statusMessage(state, request.identifier()));
}

void Service::answerServerStatus(const Request& request) { answer(request, serverStatusMessage(state)); }

void Service::registerAgent(const Request& request) {
    const Agent agent{attribute(request.message, FRSCtrl::Attr_SessionID),
                      attribute(request.message, FRSCtrl::Attr_UserID),
                      attribute(request.message, FRSCtrl::Attr_ProcessID)};
    const bool accepted = !faults.refuse && is(agent, request.peer.credentials);
    if (accepted) {
        agents_.set(request.peer.name, agent);
    }
    answerResult(request, accepted ? kAccepted : kRefused);
}

void Service::unregisterAgent(const Request& request) {
    agents_.remove(request.peer.name);
    answerResult(request, kAccepted);
}

void Service::pause(const Request& /*request*/) {
    if (state.word == "online") {
        state.word = "paused";
    }
}

void Service::proceed(const Request& /*request*/) {
    if (state.word == "paused") {
        state.word = "online";
    }
}

void Service::accept(const Request& request) { answerResult(request, kAccepted); }

// A request without an identifier gets no answer.
void Service::answerResult(const Request& request, int statusCode) {
    if (const std::int64_t identifier = request.identifier(); identifier != 0) {
        answer(request, requestResultMessage(identifier, statusCode));
    }
}

void Service::answer(const Request& request, const std::string& message) {
    if (faults.silent) {
        return;
    }
    if (faults.late > 0) {
        loop_.postAfter(std::chrono::milliseconds(faults.late),
                        [this, &pipe = request.pipe, peer = request.peer.name, message] {
                            answerNow(pipe, peer, message);
                        });
        return;
    }
    answerNow(request.pipe, request.peer.name, message);
}

void Service::answerNow(ServerPipe& pipe, const std::string& peer, const std::string& message) {
    if (faults.garbage > 0) {
        --faults.garbage;
        pipe.send(peer, garbage(nextGarbage_++ % kGarbageKinds, message));
    } else {
        pipe.send(peer, message);
    }
}

} // namespace kvn::daemon
