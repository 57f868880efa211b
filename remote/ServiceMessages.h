// SPDX-License-Identifier: MIT

#pragma once

#include "remote/FRRecords.h"
#include "remote/xml/FEncXmlNode.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

/// These functions read the service's messages into records. A missing attribute leaves its field empty or 0.
namespace Kvs {

/// Calls `take` with each message of a delivery and its length, in order; white space between them is
/// skipped. The node is valid during the call, in which `take` must not read another delivery on this thread.
/// Returns false at the first text that is no message; the rest is then dropped.
bool fReadDelivery(std::string_view delivery,
                   const std::function<void(const FEncXmlNode<char>& message, std::size_t length)>& take);

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
