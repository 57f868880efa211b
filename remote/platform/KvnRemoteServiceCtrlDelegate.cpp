#include "remote/platform/KvnRemoteServiceCtrlDelegate.h"

#include "core/logging/CNSLog.h"
#include "core/text/FGStr.h"
#include "remote/platform/ObjcDTOFactory.h"
#include "remote/platform/RemoteServiceConnector.h"

namespace kvn {

using Bridge = KvnRemoteServiceCtrlDelegate;

Bridge::KvnRemoteServiceCtrlDelegate(RemoteServiceConnector& connector, Kvs::KvnRemoteServiceCtrl& client)
    : connector_(connector), client_(&client) {
    client_->EventRequestResult.add(this, &Bridge::RequestResultEvent);
    client_->EventServiceStatus.add(this, &Bridge::ServiceStatusEvent);
    client_->EventProxyStatus.add(this, &Bridge::ProxyStatusEvent);
    client_->EventConnectionError.add(this, &Bridge::ErrorEvent);
    client_->EventServiceCommand.add(this, &Bridge::ExecuteCommandEvent);
}

void Bridge::close() {
    if (!client_) {
        return;
    }
    client_->EventRequestResult.remove(this, &Bridge::RequestResultEvent);
    client_->EventServiceStatus.remove(this, &Bridge::ServiceStatusEvent);
    client_->EventProxyStatus.remove(this, &Bridge::ProxyStatusEvent);
    client_->EventConnectionError.remove(this, &Bridge::ErrorEvent);
    client_->EventServiceCommand.remove(this, &Bridge::ExecuteCommandEvent);
    client_ = nullptr;
}

void Bridge::RequestResultEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRRequestResult& record) {
    connector_.processResponse(ObjcDTOFactory::convertRequestResult(record));
}

void Bridge::ServiceStatusEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRServiceInfo& record) {
    connector_.processResponse(ObjcDTOFactory::convertFRServiceInfo(record));
}

void Bridge::ProxyStatusEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRProxyStatus&) {
    // The answer names no request, so there is no handler that it could be handed to.
}

void Bridge::ErrorEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRConnectionError& record) {
    // Pending handlers stay: the next poll opens a new pipe.
    if (record.message.isEmpty()) {
        Kvs::CNSLog("RemoteServiceConnector: Connection failed: %d", record.errorCode);
    } else {
        Kvs::CNSLog("RemoteServiceConnector: Connection failed: %s(%d)", Kvs::fNarrow(record.message).c_str(),
                    record.errorCode);
    }
    connector_.connectionLost();
}

void Bridge::ExecuteCommandEvent(Kvs::KvnRemoteServiceCtrl*, Kvs::_FRServiceCommand& record) {
    connector_.processCommand(ObjcDTOFactory::convertFRServiceCommand(record));
}

} // namespace kvn
