// SPDX-License-Identifier: MIT

#pragma once

#include "remote/KvnRemoteServiceCtrl.h"

namespace kvn {
class RemoteServiceConnector;
}

namespace Kvs {

/// Converts the events that the service-control client raises on its reader threads, and passes them to the
/// connector. Created and closed on the main thread. Owned by the connector.
class KvnRemoteServiceCtrlDelegate {
public:
    /// Subscribes to the client's events.
    KvnRemoteServiceCtrlDelegate(kvn::RemoteServiceConnector& connector, KvnRemoteServiceCtrl& client);
    ~KvnRemoteServiceCtrlDelegate() { close(); }
    KvnRemoteServiceCtrlDelegate(const KvnRemoteServiceCtrlDelegate&) = delete;
    KvnRemoteServiceCtrlDelegate& operator=(const KvnRemoteServiceCtrlDelegate&) = delete;

    /// Ends the subscriptions; on return no event is being handled. Does nothing when already closed.
    void close();

private:
    void RequestResultEvent(KvnRemoteServiceCtrl*, _FRRequestResult& record);
    void ServiceStatusEvent(KvnRemoteServiceCtrl*, _FRServiceInfo& record);
    void ProxyStatusEvent(KvnRemoteServiceCtrl*, _FRProxyStatus& record);
    void ErrorEvent(KvnRemoteServiceCtrl*, _FRConnectionError& record);
    void ExecuteCommandEvent(KvnRemoteServiceCtrl*, _FRServiceCommand& record);

    kvn::RemoteServiceConnector& connector_;
    KvnRemoteServiceCtrl* client_; // null once closed
};

} // namespace Kvs
