// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/text/FGStr.h"

#include <cstdint>

namespace Kvs {

/// Identifies a request of one connector; with 0 no answer is requested.
using RequestId = std::uint32_t;

/// The state of the remote service. Messages contain the first three; the agent adds `Initial` for a service
/// that is still starting and `StartFailed` for one that the helper could not start. A number that is not
/// listed counts as offline.
enum class ServiceState : std::int32_t { Online = 0, Offline = 1, Paused = 2, Initial = 3, StartFailed = 4 };

/// A proxy in a status answer. Time and priority are passed on as the service wrote them.
struct _FRProxyInfo {
    FGStr<wchar_t> name;
    bool active = false;
    FGStr<wchar_t> server;
    FGStr<wchar_t> time;
    FGStr<wchar_t> priority;
};

/// A "Status" message.
struct _FRServiceInfo {
    RequestId requestId = 0;
    ServiceState status = ServiceState::Offline;
    FGStr<wchar_t> server;
    FGStr<wchar_t> registration;
    FGStr<wchar_t> lastError;
    FGStr<wchar_t> version;
    bool subProcessRunning = false;
    FGStr<wchar_t> subProcessUser;
    FList<_FRProxyInfo> proxyInfos;
};

/// A "ServerStatus" message, which carries no request identifier.
struct _FRProxyStatus {
    RequestId requestId = 0;
    FGStr<wchar_t> status;
    FGStr<wchar_t> lastError;
};

/// A "ServiceCommand" message, which carries no request identifier.
struct _FRServiceCommand {
    RequestId requestId = 0;
    FGStr<wchar_t> command;
    FGStr<wchar_t> executable;
    FGStr<wchar_t> parameters;
};

/// A "RequestResult" message; a status code of 0 means success.
struct _FRRequestResult {
    RequestId requestId = 0;
    std::int32_t statusCode = 0;
};

/// A read error of a messenger: its error number, and a text that may be empty.
struct _FRConnectionError {
    std::int32_t errorCode = 0;
    FGStr<wchar_t> message;
};

} // namespace Kvs
