// SPDX-License-Identifier: MIT

#include "remote/KvnRemoteServiceCtrl.h"

#include "core/logging/CNSLog.h"
#include "remote/FRSCtrl.h"
#include "remote/ServiceMessages.h"
#include "remote/xml/FEncXml.h"

#include <algorithm>
#include <string>
#include <unistd.h>
#include <utility>

namespace Kvs {

using namespace FRSCtrl;

namespace {

/// The log's part of a line, the lines' fixed texts included.
constexpr std::size_t kLineCost = 200;

/// A command is logged in two lines, in each of which a byte of it may be written with four characters.
constexpr std::size_t kCommandLines = 2;
constexpr std::size_t kLongestEscape = 4;

} // namespace

KvnRemoteServiceCtrl::KvnRemoteServiceCtrl(bool closeAfterReceive, const kvn::host::SessionInfo& sessionInfo,
                                           const kvn::host::Clock& clock)
    : closeAfterReceive_(closeAfterReceive), sessionInfo_(sessionInfo), clock_(clock) {}

KvnRemoteServiceCtrl::~KvnRemoteServiceCtrl() { closePipes(); }

void KvnRemoteServiceCtrl::closePipes() {
    FList<Messenger> messengers;
    {
        FLockGuard guard(messengersLock_);
        messengers.swap(messengers_);
    }
    // Without the lock: both steps wait for handlers in progress, and these take the lock.
    while (!messengers.empty()) {
        unsubscribe(*messengers.back());
        messengers.pop_back(); // waits for the pipe's reader thread
    }
}

// MARK: Requests

FResult KvnRemoteServiceCtrl::requestServiceStatus(RequestId requestId) {
    return sendRequest(Pipe_RemoteClient, nullptr, Tag_GetStatus, requestId);
}

FResult KvnRemoteServiceCtrl::requestProxyStatus(RequestId requestId) {
    return sendRequest(Pipe_RemoteServer, nullptr, Tag_GetServerStatus, requestId);
}

FResult KvnRemoteServiceCtrl::sendServicePauseRequest(RequestId requestId) {
    return sendRequest(Pipe_RemoteClient, Tag_Pause, Tag_GetStatus, requestId);
}

FResult KvnRemoteServiceCtrl::sendServiceContinueRequest(RequestId requestId) {
    return sendRequest(Pipe_RemoteClient, Tag_Continue, Tag_GetStatus, requestId);
}

FResult KvnRemoteServiceCtrl::sendSystemRebootRequest(RequestId) {
    return sendRequest(Pipe_RemoteClient, Tag_RebootSystem, nullptr, 0);
}

FResult KvnRemoteServiceCtrl::registerServiceAgentRequest(RequestId requestId) {
    return sendAgentRequest(Tag_RegisterAgent, requestId);
}

FResult KvnRemoteServiceCtrl::unregisterServiceAgentRequest(RequestId requestId) {
    return sendAgentRequest(Tag_UnregisterAgent, requestId);
}

FResult KvnRemoteServiceCtrl::sendAgentRequest(const char* tag, RequestId requestId) {
    const kvn::host::LoginSession session = sessionInfo_.ownSession();
    const std::string sessionId = std::to_string(session.identifier);
    const std::string processId = std::to_string(getpid());
    CNSLog("Sending %s request for user: %s, session: %s, pid: %s", tag, session.userName.c_str(),
           sessionId.c_str(), processId.c_str());
    const std::string requestData = std::to_string(requestId);
    return sendSimpleRequest(Pipe_RemoteClient, tag,
                             {{Attr_SessionID, sessionId},
                              {Attr_UserID, session.userName},
                              {Attr_ProcessID, processId},
                              {Attr_RequestData, requestData}},
                             requestId);
}

FResult KvnRemoteServiceCtrl::clientLaunchedNotification(unsigned long long processId,
                                                         const FGStr<char>& sessionId,
                                                         const FGStr<char>& userId) {
    const std::string process = std::to_string(processId);
    return sendSimpleRequest(Pipe_RemoteClient, Tag_ClientLauched,
                             {{Attr_ProcessID, process},
                              {Attr_SessionID, sessionId.token()},
                              {Attr_UserID, userId.token()},
                              {Attr_RequestData, "0"}},
                             0);
}

FResult KvnRemoteServiceCtrl::sendRequest(const wchar_t* pipeId, const char* requestTag,
                                          const char* statusTag, RequestId requestId) {
    if (!requestTag && !statusTag) {
        CNSLog("KvnRemoteServiceCtrl::sendRequest: invalid arguments, neither request tag nor status tag "
               "spefified");
        return kFailure;
    }
    const Messenger messenger = messengerForId(pipeId);
    if (!messenger) {
        CNSLog("KvnRemoteServiceCtrl::sendRequest: no messenger for given pipe ID");
        return kFailure;
    }
    if (requestTag && sendTag(messenger, requestTag, 0) != kSuccess) {
        CNSLog("KvnRemoteServiceCtrl::sendRequest: failed to send request tag: %s", requestTag);
        releaseSender(messenger.get());
        return kFailure;
    }
    if (!statusTag) {
        return kSuccess;
    }
    if (sendTag(messenger, statusTag, requestId) != kSuccess) {
        releaseSender(messenger.get());
        return kFailure;
    }
    const FResult result = ensureReceiving(messenger);
    if (result != kSuccess) {
        releaseSender(messenger.get());
    }
    return result;
}

FResult KvnRemoteServiceCtrl::sendSimpleRequest(const wchar_t* pipeId, const char* tag,
                                                std::initializer_list<FEncXmlPair> attributes,
                                                RequestId requestId) {
    if (!tag) {
        CNSLog("KvnRemoteServiceCtrl::sendSimpleRequest: invalid arguments, no request tag");
        return kFailure;
    }
    const Messenger messenger = messengerForId(pipeId);
    if (!messenger) {
        CNSLog("KvnRemoteServiceCtrl::sendSimpleRequest: no messenger for given pipe ID");
        return kFailure;
    }
    FMStr<char> message;
    FEncXml<char>::addElement(message, tag, attributes);
    FResult result = sendMessage(messenger, message);
    if (result == kSuccess && requestId != 0) {
        result = ensureReceiving(messenger);
    }
    if (result != kSuccess) {
        releaseSender(messenger.get());
    }
    return result;
}

FResult KvnRemoteServiceCtrl::sendTag(const Messenger& messenger, const char* tag, RequestId requestId) {
    FMStr<char> message;
    const std::string requestData = std::to_string(requestId);
    FEncXml<char>::addTag(message, tag, requestId ? Attr_RequestData : "", requestData);
    return sendMessage(messenger, message);
}

FResult KvnRemoteServiceCtrl::sendMessage(const Messenger& messenger, const FMStr<char>& message) {
    const long length = static_cast<long>(message.length());
    long written = 0;
    const FResult result =
        messenger->send(nullptr, reinterpret_cast<const unsigned char*>(message.c_str()), length, written);
    // A message that was sent in part cannot be read by the service.
    return result == kSuccess && written < length ? kFailure : result;
}

FResult KvnRemoteServiceCtrl::ensureReceiving(const Messenger& messenger) {
    return messenger->isReceiving() ? kSuccess : messenger->beginReceive();
}

// MARK: Messengers

KvnRemoteServiceCtrl::Messenger KvnRemoteServiceCtrl::messengerForId(const wchar_t* pipeId) {
    // Held until the pipe is in the list: two simultaneous requests must not open two pipes with one
    // identifier.
    FLockGuard guard(messengersLock_);
    if (!closeAfterReceive_) {
        const auto open =
            std::find_if(messengers_.begin(), messengers_.end(),
                         [&](const Messenger& messenger) { return messenger->hasName(pipeId); });
        if (open != messengers_.end()) {
            return *open;
        }
    }
    Messenger messenger = fMakeRef<FComMessengerPipe>(false, false);
    messenger->DataReceived.add(this, &KvnRemoteServiceCtrl::Messenger_DataReceived);
    messenger->ReadError.add(this, &KvnRemoteServiceCtrl::Messenger_Error);
    if (messenger->open(pipeId) != kSuccess) {
        return {};
    }
    messengers_.push_back(messenger);
    return messenger;
}

void KvnRemoteServiceCtrl::releaseSender(FComMessenger* messenger) {
    Messenger released;
    {
        FLockGuard guard(messengersLock_);
        const auto entry = std::find_if(messengers_.begin(), messengers_.end(),
                                        [&](const Messenger& listed) { return listed.get() == messenger; });
        if (entry == messengers_.end()) {
            return;
        }
        released = std::move(*entry);
        messengers_.erase(entry);
    }
    // Without the lock, as in closePipes(). `released` ends the pipe unless a request still uses it.
    unsubscribe(*released);
}

void KvnRemoteServiceCtrl::unsubscribe(FComMessenger& messenger) {
    messenger.DataReceived.remove(this, &KvnRemoteServiceCtrl::Messenger_DataReceived);
    messenger.ReadError.remove(this, &KvnRemoteServiceCtrl::Messenger_Error);
}

void KvnRemoteServiceCtrl::Messenger_Error(FComMessenger* messenger, int& code) {
    // Closing clears the pipe's name, so that the next request opens a new pipe. The pipe stays in the list
    // until the event has been raised, so that closePipes() waits for this handler.
    messenger->close();
    _FRConnectionError error{code, {}};
    EventConnectionError.raise(this, error);
    releaseSender(messenger);
}

// MARK: Messages of the service

void KvnRemoteServiceCtrl::Messenger_DataReceived(FComMessenger* messenger,
                                                  FComMessenger::DataReceivedArg& arg) {
    const std::size_t logged =
        processDelivery({reinterpret_cast<const char*>(arg.data.data()), arg.data.size()});
    if (logged > 0) {
        arg.pause = logAllowance_.take(logged, clock_.steadyNow());
    }
    if (closeAfterReceive_) {
        messenger->endReceive();
        releaseSender(messenger);
    }
}

std::size_t KvnRemoteServiceCtrl::processDelivery(std::string_view delivery) {
    std::size_t logged = 0;
    const bool whole = fReadDelivery(delivery, [&](const FEncXmlNode<char>& message, std::size_t length) {
        processMessage(message);
        if (message.name() == Tag_ServiceCommand) {
            logged += kCommandLines * (kLineCost + kLongestEscape * length);
        }
    });
    const bool firstBad = !lastDeliveryWasBad_.exchange(!whole) && !whole;
    if (firstBad) {
        CNSLog("KvnRemoteServiceCtrl: dropped what is no message in a delivery of %zu bytes",
               delivery.size());
        logged += kLineCost;
    }
    return logged;
}

void KvnRemoteServiceCtrl::processMessage(const FEncXmlNode<char>& message) {
    const auto name = message.name();
    if (name == Tag_Status) {
        _FRServiceInfo info = fReadServiceInfo(message, sessionInfo_.ownSession().identifier);
        EventServiceStatus.raise(this, info);
    } else if (name == Tag_RequestResult) {
        _FRRequestResult result = fReadRequestResult(message);
        EventRequestResult.raise(this, result);
    } else if (name == Tag_ServerStatus) {
        _FRProxyStatus status = fReadProxyStatus(message);
        EventProxyStatus.raise(this, status);
    } else if (name == Tag_ServiceCommand) {
        _FRServiceCommand command = fReadServiceCommand(message);
        EventServiceCommand.raise(this, command);
    }
    // Other elements, among them an echo of the agent's own "GetStatus", are ignored.
}

} // namespace Kvs
