// SPDX-License-Identifier: MIT

#include "remote/platform/KvnRemoteServiceCtrlDelegate.h"

#include "core/logging/CNSLog.h"
#include "core/text/FGStr.h"
#include "remote/platform/RemoteServiceConnector.h"

namespace Kvs {

using kvn::ObjcDTOFactory;

KvnRemoteServiceCtrlDelegate::KvnRemoteServiceCtrlDelegate(kvn::RemoteServiceConnector& connector,
                                                           KvnRemoteServiceCtrl& client)
    : connector_(connector), client_(&client) {
    client_->EventRequestResult.add(this, &KvnRemoteServiceCtrlDelegate::RequestResultEvent);
    client_->EventServiceStatus.add(this, &KvnRemoteServiceCtrlDelegate::ServiceStatusEvent);
    client_->EventProxyStatus.add(this, &KvnRemoteServiceCtrlDelegate::ProxyStatusEvent);
    client_->EventConnectionError.add(this, &KvnRemoteServiceCtrlDelegate::ErrorEvent);
    client_->EventServiceCommand.add(this, &KvnRemoteServiceCtrlDelegate::ExecuteCommandEvent);
}

void KvnRemoteServiceCtrlDelegate::close() {
    if (!client_) {
        return;
    }
    client_->EventRequestResult.remove(this, &KvnRemoteServiceCtrlDelegate::RequestResultEvent);
    client_->EventServiceStatus.remove(this, &KvnRemoteServiceCtrlDelegate::ServiceStatusEvent);
    client_->EventProxyStatus.remove(this, &KvnRemoteServiceCtrlDelegate::ProxyStatusEvent);
    client_->EventConnectionError.remove(this, &KvnRemoteServiceCtrlDelegate::ErrorEvent);
    client_->EventServiceCommand.remove(this, &KvnRemoteServiceCtrlDelegate::ExecuteCommandEvent);
    client_ = nullptr;
}

void KvnRemoteServiceCtrlDelegate::RequestResultEvent(KvnRemoteServiceCtrl*, _FRRequestResult& record) {
    connector_.processResponse(ObjcDTOFactory::convertRequestResult(record));
}

void KvnRemoteServiceCtrlDelegate::ServiceStatusEvent(KvnRemoteServiceCtrl*, _FRServiceInfo& record) {
    connector_.processResponse(ObjcDTOFactory::convertFRServiceInfo(record));
}

void KvnRemoteServiceCtrlDelegate::ProxyStatusEvent(KvnRemoteServiceCtrl*, _FRProxyStatus&) {
    // The answer contains no request identifier, so it cannot be passed to a handler.
}

void KvnRemoteServiceCtrlDelegate::ErrorEvent(KvnRemoteServiceCtrl*, _FRConnectionError& record) {
    // The handlers of unanswered requests are kept: the next poll opens a new pipe.
    if (record.message.isEmpty()) {
        CNSLog("RemoteServiceConnector: Connection failed: %d", record.errorCode);
    } else {
        CNSLog("RemoteServiceConnector: Connection failed: %s(%d)", fNarrow(record.message).c_str(),
               record.errorCode);
    }
    connector_.connectionLost();
}

void KvnRemoteServiceCtrlDelegate::ExecuteCommandEvent(KvnRemoteServiceCtrl*, _FRServiceCommand& record) {
    connector_.processCommand(ObjcDTOFactory::convertFRServiceCommand(record));
}

} // namespace Kvs
