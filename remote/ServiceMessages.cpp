// SPDX-License-Identifier: MIT

#include "remote/ServiceMessages.h"

#include "core/text/FGStr.h"
#include "core/text/TextFunctions.h"
#include "remote/FRSCtrl.h"
#include "remote/xml/FEncXml.h"
#include "remote/xml/FEncXmlDocument.h"

namespace Kvs {

using namespace FRSCtrl;

namespace {

FGStr<wchar_t> textOf(const FEncXmlNode<char>& node, const char* attribute) {
    FMStr<char> decoded;
    FEncXml<char>::addDecoded(decoded, node.attribute(attribute));
    return fWiden(decoded.token());
}

RequestId requestIdOf(const FEncXmlNode<char>& node) {
    return static_cast<RequestId>(fLeadingNumber(node.attribute(Attr_RequestData).token()));
}

ServiceState stateOf(const FGStr<wchar_t>& word) {
    if (word == L"online") {
        return ServiceState::Online;
    }
    return word == L"paused" ? ServiceState::Paused : ServiceState::Offline;
}

_FRProxyInfo readProxyInfo(const FEncXmlNode<char>& node) {
    _FRProxyInfo info;
    info.name = textOf(node, Attr_Name);
    info.server = textOf(node, Attr_Server);
    info.time = textOf(node, Attr_Time);
    info.priority = textOf(node, Attr_Priority);
    const FGStr<wchar_t> value = textOf(node, Attr_Value);
    info.active = value == L"online" || fLeadingNumber(fNarrow(value)) != 0;
    return info;
}

} // namespace

bool fReadDelivery(std::string_view delivery,
                   const std::function<void(const FEncXmlNode<char>&, std::size_t)>& take) {
    FEncXmlDocument<char> document;
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
    info.requestId = requestIdOf(message);
    info.status = stateOf(textOf(message, Attr_Value));
    info.server = textOf(message, Attr_Server);
    info.registration = textOf(message, Attr_RemoteRegistrationName);
    info.lastError = textOf(message, Attr_LastError);
    info.version = textOf(message, Attr_Version);
    for (const FEncXmlNode<char>& proxy : message.getElementsByTagName(Tag_Proxy)) {
        info.proxyInfos.push_back(readProxyInfo(proxy));
    }
    parseSubProcessSessions(info, textOf(message, Attr_SubProcessSessions), ownSession);
    return info;
}

void parseSubProcessSessions(_FRServiceInfo& info, const FGStr<wchar_t>& sessions, std::uint64_t ownSession) {
    info.subProcessRunning = false;
    info.subProcessUser.clear();
    for (const FGStr<wchar_t>& item : sessions.split(L",")) {
        const std::string text = fNarrow(item);
        const bool numbered = text.find_first_of("-0123456789") == 0;
        if (!numbered || static_cast<std::uint64_t>(fLeadingNumber(text)) != ownSession) {
            continue;
        }
        info.subProcessRunning = true;
        const FList<FGStr<wchar_t>> fields = item.split(L"|");
        info.subProcessUser = fields.size() > 1 ? fields[1] : FGStr<wchar_t>();
        return;
    }
}

_FRRequestResult fReadRequestResult(const FEncXmlNode<char>& message) {
    return {requestIdOf(message),
            static_cast<std::int32_t>(fLeadingNumber(message.attribute(Attr_StatusCode).token()))};
}

_FRProxyStatus fReadProxyStatus(const FEncXmlNode<char>& message) {
    return {0, textOf(message, Attr_Value), textOf(message, Attr_LastError)};
}

_FRServiceCommand fReadServiceCommand(const FEncXmlNode<char>& message) {
    return {0, textOf(message, Attr_Command), textOf(message, Attr_Executable),
            textOf(message, Attr_Parameters)};
}

} // namespace Kvs
