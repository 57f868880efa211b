// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"
#include "host/Bundle.h"
#include "host/Clock.h"
#include "host/MainLoop.h"
#include "host/ProcessRunner.h"
#include "host/SessionInfo.h"
#include "host/SystemInfo.h"
#include "host/WorkQueue.h"
#include "remote/KvnRemoteServiceCtrl.h"
#include "remote/platform/KvnRemoteServiceCtrlDelegate.h"
#include "remote/platform/LaunchLimit.h"
#include "remote/platform/OFRRecords.h"
#include "remote/platform/RemoteServiceConnectorDelegate.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace kvn {

class RemoteServiceSettings;
class SystemSleepMonitor;

/// The application's side of the service-control client: gives every request its identifier, keeps the
/// completion handler until the answer arrives, and carries out the service's commands.
///
/// Main thread, except for the methods that are called on the pipes' reader threads. Held by shared
/// pointers, because a scheduled launch keeps the connector alive after its owner has dropped it. The
/// delegate must outlive the main loop's run.
class RemoteServiceConnector : public std::enable_shared_from_this<RemoteServiceConnector> {
public:
    /// The objects that a connector uses; all of them outlive every connector.
    struct Environment {
        host::MainLoop& mainLoop;
        const host::Clock& clock;
        host::WorkQueue& toolQueue;
        host::ProcessRunner& processRunner;
        const host::Bundle& bundle;
        const host::SystemInfo& systemInfo;
        const host::SessionInfo& sessionInfo;
        SystemSleepMonitor& sleepMonitor;
        RemoteServiceSettings& settings;
    };

    using Response = std::variant<OFRServiceInfo, OFRProxyStatus, OFRRequestResult>;

    /// Called with the answer and 0, or with null and the negative result of a request that could not be
    /// sent.
    using Completion = std::function<void(const Response* response, std::int32_t result)>;

    /// `launchLimit` outlives the connector: the next one goes on with it.
    RemoteServiceConnector(const Environment& environment, RemoteServiceConnectorDelegate& delegate,
                           LaunchLimit& launchLimit);
    ~RemoteServiceConnector();

    /// Stops listening to the service and closes the pipes; on return no command is being processed, and
    /// no handler is called any more. A scheduled launch still happens and is reported.
    void close();

    // Each of these returns the result of sending. If it failed, the handler has been called already.
    Kvs::FResult requestServiceStatus(Completion completion);
    /// The handler is called only when the request cannot be sent: the service's answer contains no request
    /// identifier.
    Kvs::FResult requestProxyStatus(Completion completion);
    Kvs::FResult sendServicePauseRequest(Completion completion);
    Kvs::FResult sendServiceContinueRequest(Completion completion);
    Kvs::FResult sendSystemRebootRequest();
    /// The result, or the failure to send, is reported to the delegate in the main loop.
    Kvs::FResult registerServiceAgent();
    Kvs::FResult unregisterServiceAgent();

    /// Records the launched client in the settings and notifies the service.
    void notifyClientLauchedWithProcessId(std::int64_t processId);

    /// Calls the handler of the answered request in the main loop. Drops an answer without a handler at once,
    /// so that a flood of them does not fill the main loop. Any thread.
    void processResponse(Response response);

    /// Notifies the delegate in the main loop. Any thread.
    void connectionLost();

    /// Carries out a command of the service. Called on a reader thread.
    void processCommand(const OFRServiceCommand& command);

private:
    using ClientRequest = Kvs::FResult (Kvs::KvnRemoteServiceCtrl::*)(RequestId);

    /// Returns a new identifier and stores the handler, which may be empty, under it.
    RequestId prepareRequest(Completion completion);
    /// Removes and returns the handler of the request; empty when there is none.
    Completion requestCompleted(RequestId requestId);
    Kvs::FResult sendRequest(ClientRequest request, Completion completion);
    /// Runs the task in the main loop, unless the connector has been closed before. Any thread.
    void postWhileOpen(host::MainLoop::Task task);
    void scheduleLaunch(std::string executable, std::vector<std::string> arguments);
    void launchClient(const std::string& executable, const std::vector<std::string>& arguments);

    Environment environment_;
    Kvs::KvnRemoteServiceCtrl serviceCtrl_;
    Kvs::KvnRemoteServiceCtrlDelegate ctrlDelegate_;

    Kvs::FThreadLock requestLock_;
    RequestId lastRequestID_ KVS_GUARDED_BY(requestLock_) = 0;
    std::map<RequestId, Completion> pendingRequests_ KVS_GUARDED_BY(requestLock_);

    LaunchLimit& launchLimit_;
    std::atomic<int> pendingLaunches_{0};
    bool closed_ = false; // main thread
    RemoteServiceConnectorDelegate& delegate_;
};

} // namespace kvn
