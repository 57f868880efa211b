// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/base/Errors.h"
#include "core/base/FRef.h"
#include "core/events/FEvent.h"
#include "core/messenger/FComMessengerPipe.h"
#include "core/text/FGStr.h"
#include "core/text/FMStr.h"
#include "core/threads/FThreadLock.h"
#include "host/Clock.h"
#include "host/SessionInfo.h"
#include "remote/FRRecords.h"
#include "remote/LogAllowance.h"
#include "remote/xml/FEncXmlNode.h"
#include "remote/xml/FEncXmlWriter.h"

#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace Kvs {

/// The client of the remote service daemon: opens the messenger pipes on demand, turns requests into
/// messages, and raises an event for every message that it understands. It keeps no table of requests; a
/// failed pipe is dropped and the next request opens a new one.
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

    /// With `closeAfterReceive` every request opens a pipe of its own, which is closed after one delivery;
    /// otherwise one pipe per identifier is kept. `sessionInfo` and `clock` must outlive
    /// the client.
    KvnRemoteServiceCtrl(bool closeAfterReceive, const kvn::host::SessionInfo& sessionInfo,
                         const kvn::host::Clock& clock);
    virtual ~KvnRemoteServiceCtrl();
    KvnRemoteServiceCtrl(const KvnRemoteServiceCtrl&) = delete;
    KvnRemoteServiceCtrl& operator=(const KvnRemoteServiceCtrl&) = delete;

    /// Closes all pipes; on return none of their reader threads runs, except the calling thread if it is
    /// one. A later request opens them again.
    void closePipes();

    FResult requestServiceStatus(RequestId requestId);
    FResult requestProxyStatus(RequestId requestId);
    FResult sendServicePauseRequest(RequestId requestId);
    FResult sendServiceContinueRequest(RequestId requestId);
    /// The identifier is not sent: the service does not answer.
    FResult sendSystemRebootRequest(RequestId requestId);
    FResult registerServiceAgentRequest(RequestId requestId);
    FResult unregisterServiceAgentRequest(RequestId requestId);
    FResult clientLaunchedNotification(unsigned long long processId, const FGStr<char>& sessionId,
                                       const FGStr<char>& userId);

private:
    using Messenger = FRef<FComMessengerPipe>;

    FResult sendRequest(const wchar_t* pipeId, const char* requestTag, const char* statusTag,
                        RequestId requestId);
    FResult sendSimpleRequest(const wchar_t* pipeId, const char* tag,
                              std::initializer_list<FEncXmlPair> attributes, RequestId requestId);
    FResult sendAgentRequest(const char* tag, RequestId requestId);
    static FResult sendTag(const Messenger& messenger, const char* tag, RequestId requestId);
    static FResult sendMessage(const Messenger& messenger, const FMStr<char>& message);
    static FResult ensureReceiving(const Messenger& messenger);

    Messenger messengerForId(const wchar_t* pipeId);
    void releaseSender(FComMessenger* messenger);
    void unsubscribe(FComMessenger& messenger);

    void Messenger_DataReceived(FComMessenger* messenger, FComMessenger::DataReceivedArg& arg);
    void Messenger_Error(FComMessenger* messenger, int& code);

    /// Handles the documents of one delivery in order, up to the first that does not parse. Returns about how
    /// many bytes they make the log grow.
    std::size_t processDelivery(std::string_view delivery);
    void processMessage(const FEncXmlNode<char>& message);

    FThreadLock messengersLock_;
    FList<Messenger> messengers_ KVS_GUARDED_BY(messengersLock_);
    const bool closeAfterReceive_;
    const kvn::host::SessionInfo& sessionInfo_;
    const kvn::host::Clock& clock_;
    LogAllowance logAllowance_;
    std::atomic<bool> lastDeliveryWasBad_{false}; ///< Limits a series of bad deliveries to one log line.
};

} // namespace Kvs
