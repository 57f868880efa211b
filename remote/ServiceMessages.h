// SPDX-License-Identifier: MIT

#pragma once

#include "remote/FRRecords.h"
#include "remote/xml/FEncXmlNode.h"

#include <cstdint>
#include <string_view>

/// These functions read the service's messages into records. A missing attribute leaves its field empty or 0.
namespace Kvs {

/// Reads an optional "-" and decimal digits up to the first other character; no digits give 0. A number
/// that does not fit wraps.
std::int64_t fLeadingNumber(std::string_view text);

/// `ownSession` is the login session of this process: `subProcessRunning` is true when the message lists it.
_FRServiceInfo fReadServiceInfo(const FEncXmlNode<char>& message, std::uint64_t ownSession);
_FRRequestResult fReadRequestResult(const FEncXmlNode<char>& message);
_FRProxyStatus fReadProxyStatus(const FEncXmlNode<char>& message);
_FRServiceCommand fReadServiceCommand(const FEncXmlNode<char>& message);

/// Fills the sub-process fields from the service's list, whose items are "SESSION" or
/// "SESSION|USER|...", separated by ",".
void parseSubProcessSessions(_FRServiceInfo& info, const FGStr<wchar_t>& sessions, std::uint64_t ownSession);

} // namespace Kvs
