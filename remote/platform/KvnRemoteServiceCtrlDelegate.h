#pragma once

#include "remote/FRRecords.h"
#include "remote/KvnRemoteServiceCtrl.h"

namespace kvn {

class RemoteServiceConnector;

/// The bridge from the service-control client's events, raised on reader threads, to the connector on
/// the main thread. Main thread; owned by the connector.
class KvnRemoteServiceCtrlDelegate {
public:
    /// Subscribes to the client's events.
    KvnRemoteServiceCtrlDelegate(RemoteServiceConnector& connector, Kvs::KvnRemoteServiceCtrl& client);
    ~KvnRemoteServiceCtrlDelegate() { close(); }
    KvnRemoteServiceCtrlDelegate(const KvnRemoteServiceCtrlDelegate&) = delete;
    KvnRemoteServiceCtrlDelegate& operator=(const KvnRemoteServiceCtrlDelegate&) = delete;

    /// Ends the subscriptions; on return no event is being handled. Does nothing when already closed.
    void close();

private:
    void RequestResultEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRRequestResult& record);
    void ServiceStatusEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRServiceInfo& record);
    void ProxyStatusEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRProxyStatus& record);
    void ErrorEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRConnectionError& record);
    void ExecuteCommandEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRServiceCommand& record);

    RemoteServiceConnector& connector_;
    Kvs::KvnRemoteServiceCtrl* client_;
};

} // namespace kvn
