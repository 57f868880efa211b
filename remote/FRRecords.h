#pragma once

#include "core/base/Containers.h"
#include "core/text/FGStr.h"

#include <cstdint>

namespace Kvs {

/// State of the remote service. `Initial` is never read from a message.
enum class FRServiceState : std::int32_t { Online = 0, Offline = 1, Paused = 2, Initial = 3 };

/// One proxy of a status answer. Time and priority are the service's own texts.
struct _FRProxyInfo {
    FGStr<wchar_t> name;
    bool active = false;
    FGStr<wchar_t> server;
    FGStr<wchar_t> time;
    FGStr<wchar_t> priority;
};

/// A "Status" message.
struct _FRServiceInfo {
    std::uint32_t requestId = 0;
    FRServiceState status = FRServiceState::Offline;
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
    std::uint32_t requestId = 0;
    FGStr<wchar_t> status;
    FGStr<wchar_t> lastError;
};

/// A "ServiceCommand" message, which carries no request identifier.
struct _FRServiceCommand {
    std::uint32_t requestId = 0;
    FGStr<wchar_t> command;
    FGStr<wchar_t> executable;
    FGStr<wchar_t> parameters;
};

/// A "RequestResult" message; a status code of 0 is the service's success.
struct _FRRequestResult {
    std::uint32_t requestId = 0;
    std::int32_t statusCode = 0;
};

/// A read error of a messenger: its error number, and a text that may be empty.
struct _FRConnectionError {
    std::int32_t errorCode = 0;
    FGStr<wchar_t> message;
};

} // namespace Kvs
