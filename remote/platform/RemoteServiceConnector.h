#pragma once

#include "core/threads/FThreadLock.h"
#include "host/Bundle.h"
#include "host/MainLoop.h"
#include "host/ProcessRunner.h"
#include "host/SessionInfo.h"
#include "host/SystemInfo.h"
#include "remote/KvnRemoteServiceCtrl.h"
#include "remote/platform/KvnRemoteServiceCtrlDelegate.h"
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

/// The application's face of the service-control client: gives every request its identifier, keeps
/// the completion handler until the answer arrives, and carries out the service's commands.
///
/// Main thread, but for what the bridge calls on the reader threads. Held by shared pointers, since a launch
/// under way outlives the owner's interest; the delegate must outlive the main loop's run.
class RemoteServiceConnector : public std::enable_shared_from_this<RemoteServiceConnector> {
public:
    /// What a connector works with; all of it outlives every connector.
    struct Environment {
        host::MainLoop& mainLoop;
        host::ProcessRunner& processRunner;
        const host::Bundle& bundle;
        const host::SystemInfo& systemInfo;
        const host::SessionInfo& sessionInfo;
        SystemSleepMonitor& sleepMonitor;
        RemoteServiceSettings& settings;
    };

    using Response = std::variant<OFRServiceInfo, OFRProxyStatus, OFRRequestResult>;

    /// Gets the answer and 0, or null and the negative result of a request that could not be sent.
    using Completion = std::function<void(const Response* response, std::int32_t result)>;

    RemoteServiceConnector(const Environment& environment, RemoteServiceConnectorDelegate& delegate);
    ~RemoteServiceConnector();

    /// Stops listening to the service and closes the pipes; on return no command is being processed, and
    /// no handler is called any more. A launch that is under way goes on, and is reported.
    void close();

    // Each returns the result of sending; a negative one has been told to the handler already.
    Kvs::FResult requestServiceStatus(Completion completion);
    /// The service's answer to this request is not evaluated: the handler learns only of a failure to send.
    Kvs::FResult requestProxyStatus(Completion completion);
    Kvs::FResult sendServicePauseRequest(Completion completion);
    Kvs::FResult sendServiceContinueRequest(Completion completion);
    Kvs::FResult sendSystemRebootRequest();
    Kvs::FResult registerServiceAgent();
    Kvs::FResult unregisterServiceAgent();

    /// Records the launched client in the settings and tells the service.
    void notifyClientLauchedWithProcessId(std::int64_t processId);

    /// Hands the answer to the handler that waits for it, in the main loop; an answer that nobody waits
    /// for is dropped at once, so that a flood of them does not fill the loop. Any thread.
    void processResponse(Response response);

    /// Tells the delegate, in the main loop. Any thread.
    void connectionLost();

    /// Carries a command of the service out. On a reader thread.
    void processCommand(const OFRServiceCommand& command);

private:
    using ClientRequest = Kvs::FResult (Kvs::KvnRemoteServiceCtrl::*)(unsigned int);

    std::uint32_t prepareRequest(Completion completion);
    Completion requestCompleted(std::uint32_t requestId);
    Kvs::FResult sendRequest(ClientRequest request, Completion completion);
    /// Runs the task in the main loop, unless the connector is closed by then. Any thread.
    void postWhileOpen(host::MainLoop::Task task);
    void scheduleLaunch(std::string executable, std::vector<std::string> arguments);
    void launchClient(const std::string& executable, const std::vector<std::string>& arguments);

    Environment environment_;
    Kvs::KvnRemoteServiceCtrl serviceCtrl_;
    KvnRemoteServiceCtrlDelegate ctrlDelegate_;

    Kvs::FThreadLock requestLock_;
    std::uint32_t lastRequestID_ KVS_GUARDED_BY(requestLock_) = 0;
    std::map<std::uint32_t, Completion> pendingRequests_ KVS_GUARDED_BY(requestLock_);

    std::atomic<int> pendingLaunches_{0};
    bool closed_ = false;
    RemoteServiceConnectorDelegate& delegate_;
};

} // namespace kvn
