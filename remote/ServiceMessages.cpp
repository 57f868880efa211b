// SPDX-License-Identifier: MIT

#include "remote/ServiceMessages.h"

#include "core/text/FGStr.h"
#include "core/text/TextFunctions.h"
#include "remote/FRSCtrl.h"
#include "remote/xml/FEncXml.h"
#include "remote/xml/FEncXmlDocument.h"

#include <algorithm>
#include <string>

namespace Kvs {

using namespace FRSCtrl;

namespace {

/// Calls `use` with the decoded value. Without an "&" that is the message's own text.
template <class Use>
auto withText(const FEncXmlFragment<char>& raw, Use use) {
    if (raw.token().find('&') == std::string_view::npos) {
        return use(raw.token());
    }
    FMStr<char> decoded;
    FEncXml<char>::addDecoded(decoded, raw);
    return use(decoded.token());
}

FGStr<wchar_t> textOf(const FEncXmlFragment<char>& raw) { return withText(raw, fWiden); }

RequestId requestIdOf(const FEncXmlFragment<char>& raw) {
    return static_cast<RequestId>(fLeadingNumber(raw.token()));
}

ServiceState stateOf(std::string_view word) {
    if (word == "online") {
        return ServiceState::Online;
    }
    return word == "paused" ? ServiceState::Paused : ServiceState::Offline;
}

_FRProxyInfo readProxyInfo(const FEncXmlNode<char>& node) {
    _FRProxyInfo info;
    for (const auto& [name, value] : node.attributes()) {
        if (name == Attr_Name) {
            info.name = textOf(value);
        } else if (name == Attr_Server) {
            info.server = textOf(value);
        } else if (name == Attr_Time) {
            info.time = textOf(value);
        } else if (name == Attr_Priority) {
            info.priority = textOf(value);
        } else if (name == Attr_Value) {
            info.active = withText(
                value, [](std::string_view text) { return text == "online" || fLeadingNumber(text) != 0; });
        }
    }
    return info;
}

} // namespace

bool fReadDelivery(std::string_view delivery,
                   const std::function<void(const FEncXmlNode<char>&, std::size_t)>& take) {
    // Kept, so that a delivery allocates no memory for its tree. It stays small: a delivery has at most 4096
    // bytes.
    thread_local FEncXmlDocument<char> document;
    for (auto begin = delivery.find_first_not_of(kBlanks); begin != delivery.npos;
         begin = delivery.find_first_not_of(kBlanks)) {
        delivery.remove_prefix(begin);
        long last = 0;
        if (!document.loadXml(delivery.data(), static_cast<long>(delivery.size()), last)) {
            return false;
        }
        const auto length = static_cast<std::size_t>(last) + 1;
        take(document.root(), length);
        delivery.remove_prefix(length);
    }
    return true;
}

std::int64_t fLeadingNumber(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) {
        text.remove_prefix(1);
    }
    std::uint64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return static_cast<std::int64_t>(negative ? 0 - value : value);
}

_FRServiceInfo fReadServiceInfo(const FEncXmlNode<char>& message, std::uint64_t ownSession) {
    _FRServiceInfo info;
    for (const auto& [name, value] : message.attributes()) {
        if (name == Attr_RequestData) {
            info.requestId = requestIdOf(value);
        } else if (name == Attr_Value) {
            info.status = withText(value, stateOf);
        } else if (name == Attr_Server) {
            info.server = textOf(value);
        } else if (name == Attr_RemoteRegistrationName) {
            info.registration = textOf(value);
        } else if (name == Attr_LastError) {
            info.lastError = textOf(value);
        } else if (name == Attr_Version) {
            info.version = textOf(value);
        } else if (name == Attr_SubProcessSessions) {
            parseSubProcessSessions(info, textOf(value), ownSession);
        }
    }
    for (const FEncXmlNode<char>& child : message.children()) {
        if (child.name() == Tag_Proxy) {
            info.proxyInfos.push_back(readProxyInfo(child));
        }
    }
    return info;
}

void parseSubProcessSessions(_FRServiceInfo& info, const FGStr<wchar_t>& sessions, std::uint64_t ownSession) {
    info.subProcessRunning = false;
    info.subProcessUser.clear();
    FStrToken<wchar_t> rest = sessions.token();
    while (!rest.empty()) {
        const FStrToken<wchar_t> item = rest.substr(0, rest.find(L','));
        rest.remove_prefix(std::min(item.size() + 1, rest.size()));
        const auto bar = item.find(L'|');
        const std::string number = fNarrow(item.substr(0, bar));
        const bool numbered =
            !number.empty() && std::string_view("-0123456789").find(number[0]) != std::string_view::npos;
        if (!numbered || static_cast<std::uint64_t>(fLeadingNumber(number)) != ownSession) {
            continue;
        }
        info.subProcessRunning = true;
        if (bar != item.npos) {
            const FStrToken<wchar_t> user = item.substr(bar + 1);
            info.subProcessUser = FGStr<wchar_t>(user.substr(0, user.find(L'|')));
        }
        return;
    }
}

_FRRequestResult fReadRequestResult(const FEncXmlNode<char>& message) {
    return {requestIdOf(message.attribute(Attr_RequestData)),
            static_cast<std::int32_t>(fLeadingNumber(message.attribute(Attr_StatusCode).token()))};
}

_FRProxyStatus fReadProxyStatus(const FEncXmlNode<char>& message) {
    return {0, textOf(message.attribute(Attr_Value)), textOf(message.attribute(Attr_LastError))};
}

_FRServiceCommand fReadServiceCommand(const FEncXmlNode<char>& message) {
    return {0, textOf(message.attribute(Attr_Command)), textOf(message.attribute(Attr_Executable)),
            textOf(message.attribute(Attr_Parameters))};
}

} // namespace Kvs
