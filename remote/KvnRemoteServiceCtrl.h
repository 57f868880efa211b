#pragma once

#include "core/base/Containers.h"
#include "core/base/Errors.h"
#include "core/base/FRef.h"
#include "core/events/FEvent.h"
#include "core/messenger/FComMessengerPipe.h"
#include "core/text/FGStr.h"
#include "core/text/FMStr.h"
#include "core/threads/FThreadLock.h"
#include "host/SessionInfo.h"
#include "remote/FRRecords.h"
#include "remote/xml/FEncXmlNode.h"
#include "remote/xml/FEncXmlWriter.h"

#include <atomic>

namespace Kvs {

/// The client of the remote service daemon: opens the messenger pipes on demand, turns requests into
/// messages, and raises an event for every message that it understands. It keeps no table of requests;
/// a failed pipe is dropped and the next request opens a new one.
///
/// Requests may be made on any thread; the events are raised on the pipes' reader threads.
/// Results: 0, `kFailure`, or the messenger's error number.
class KvnRemoteServiceCtrl {
public:
    FEvent<KvnRemoteServiceCtrl, _FRRequestResult> EventRequestResult;
    FEvent<KvnRemoteServiceCtrl, _FRServiceInfo> EventServiceStatus;
    FEvent<KvnRemoteServiceCtrl, _FRProxyStatus> EventProxyStatus;
    FEvent<KvnRemoteServiceCtrl, _FRServiceCommand> EventServiceCommand;
    FEvent<KvnRemoteServiceCtrl, _FRConnectionError> EventConnectionError;

    /// With `closeAfterReceive` every request opens a pipe of its own, which is closed after one
    /// delivery; else one pipe per identifier is kept. `sessionInfo` outlives the client.
    KvnRemoteServiceCtrl(bool closeAfterReceive, const kvn::host::SessionInfo& sessionInfo);
    virtual ~KvnRemoteServiceCtrl();
    KvnRemoteServiceCtrl(const KvnRemoteServiceCtrl&) = delete;
    KvnRemoteServiceCtrl& operator=(const KvnRemoteServiceCtrl&) = delete;

    /// Closes all pipes; on return none of their readers runs (the caller's own thread aside). A later
    /// request opens them again.
    void closePipes();

    FResult requestServiceStatus(unsigned int requestId);
    FResult requestProxyStatus(unsigned int requestId);
    FResult sendServicePauseRequest(unsigned int requestId);
    FResult sendServiceContinueRequest(unsigned int requestId);
    /// The identifier is not sent: the service does not answer.
    FResult sendSystemRebootRequest(unsigned int requestId);
    FResult registerServiceAgentRequest(unsigned int requestId);
    FResult unregisterServiceAgentRequest(unsigned int requestId);
    FResult clientLaunchedNotification(unsigned long long processId, const FGStr<char>& sessionId,
                                       const FGStr<char>& userId);

private:
    using Messenger = FRef<FComMessengerPipe>;

    FResult sendRequest(const wchar_t* pipeId, const char* requestTag, const char* statusTag,
                        unsigned int requestId);
    FResult sendSimpleRequest(const wchar_t* pipeId, const char* tag, FEncXmlAttributeMap& attributes,
                              unsigned int requestId);
    FResult sendAgentRequest(const char* tag, unsigned int requestId);
    static FResult sendTag(const Messenger& messenger, const char* tag, unsigned int requestId);
    static FResult sendMessage(const Messenger& messenger, const FMStr<char>& message);
    static FResult ensureReceiving(const Messenger& messenger);

    Messenger messengerForId(const wchar_t* pipeId);
    void releaseSender(FComMessenger* messenger);
    void unsubscribe(FComMessenger& messenger);

    void Messenger_DataReceived(FComMessenger* messenger, FComMessenger::DataReceivedArg& arg);
    void Messenger_Error(FComMessenger* messenger, int& code);

    /// Handles the documents of one delivery in order; false when something in it is no document.
    bool processDelivery(const char* bytes, long size);
    void processMessage(const FEncXmlNode<char>& message);

    FThreadLock messengersLock_;
    FList<Messenger> messengers_ KVS_GUARDED_BY(messengersLock_);
    const bool closeAfterReceive_;
    const kvn::host::SessionInfo& sessionInfo_;
    std::atomic<bool> lastDeliveryWasBad_{false}; // a run of nonsense is worth one log line
};

} // namespace Kvs
