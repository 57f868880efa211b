#include "standins/service-daemon/Service.h"

#include "remote/FRSCtrl.h"
#include "remote/ServiceMessages.h"
#include "remote/xml/FEncXml.h"
#include "standins/service-daemon/Print.h"

#include <string_view>

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

} // namespace

struct Service::Request {
    ServerPipe& pipe;
    const std::string& peer;
    const Message& message;

    std::int64_t identifier() const {
        return Kvs::fLeadingNumber(attribute(message, FRSCtrl::Attr_RequestData));
    }
};

Service::Service(host::MainLoop& loop)
    : outbox(loop), clientPipe_(loop, FRSCtrl::Pipe_RemoteClient, *this),
      serverPipe_(loop, FRSCtrl::Pipe_RemoteServer, *this) {}

int Service::push(const std::string& message) {
    int reached = 0;
    for (const auto& [peer, agent] : agents_) {
        reached += outbox.push(clientPipe_, peer, message) ? 1 : 0;
    }
    return reached;
}

void Service::dropPeers() {
    clientPipe_.dropPeers();
    serverPipe_.dropPeers();
}

void Service::peerClosed(const std::string& peer) {
    print("--", peer, "closed");
    agents_.remove(peer);
}

// One delivery may carry several documents, as an agent's "Pause" and the "GetStatus" after it.
void Service::received(ServerPipe& pipe, const std::string& peer, const std::string& bytes) {
    std::string_view rest = bytes;
    while (!rest.empty()) {
        long consumed = 0;
        if (!document_.loadXml(rest.data(), static_cast<long>(rest.size()), consumed)) {
            print("<?", peer, rest);
            return;
        }
        const auto length = static_cast<std::size_t>(consumed) + 1;
        print("<-", peer, rest.substr(0, length));
        rest.remove_prefix(length);
        handle(pipe, peer, document_.root());
    }
}

void Service::handle(ServerPipe& pipe, const std::string& peer, const Message& message) {
    struct Handler {
        const wchar_t* pipe;
        const char* tag;
        void (Service::*handle)(const Request&);
    };
    static constexpr Handler kHandlers[] = {
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_GetStatus, &Service::answerStatus},
        {FRSCtrl::Pipe_RemoteServer, FRSCtrl::Tag_GetServerStatus, &Service::answerServerStatus},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_RegisterAgent, &Service::registerAgent},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_UnregisterAgent, &Service::unregisterAgent},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_Pause, &Service::pause},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_Continue, &Service::proceed},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_RebootSystem, &Service::takeNote},
        {FRSCtrl::Pipe_RemoteClient, FRSCtrl::Tag_ClientLauched, &Service::takeNote},
    };
    const std::string tag(message.name().token());
    for (const Handler& handler : kHandlers) {
        if (tag == handler.tag && pipe.isNamed(handler.pipe)) {
            (this->*handler.handle)({pipe, peer, message});
            onMessage_(tag);
            return;
        }
    }
    print("--", peer, tag + " is not understood on this pipe");
}

void Service::answerStatus(const Request& request) {
    outbox.answer(request.pipe, request.peer, statusMessage(state, request.identifier()));
}

void Service::answerServerStatus(const Request& request) {
    outbox.answer(request.pipe, request.peer, serverStatusMessage(state));
}

void Service::registerAgent(const Request& request) {
    if (!refusesAgents) {
        agents_.set(request.peer, {attribute(request.message, FRSCtrl::Attr_SessionID),
                                   attribute(request.message, FRSCtrl::Attr_UserID),
                                   attribute(request.message, FRSCtrl::Attr_ProcessID)});
    }
    answerResult(request, refusesAgents ? kRefused : kAccepted);
}

void Service::unregisterAgent(const Request& request) {
    agents_.remove(request.peer);
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

void Service::takeNote(const Request& request) { answerResult(request, kAccepted); }

// A request without an identifier wants no answer.
void Service::answerResult(const Request& request, int statusCode) {
    if (const std::int64_t identifier = request.identifier(); identifier != 0) {
        outbox.answer(request.pipe, request.peer, requestResultMessage(identifier, statusCode));
    }
}

} // namespace kvn::daemon
