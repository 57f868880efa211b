// SPDX-License-Identifier: MIT

#include "standins/service-daemon/ServiceState.h"

#include "remote/FRSCtrl.h"
#include "remote/xml/FEncXml.h"

#include <initializer_list>
#include <utility>

namespace kvn::daemon {
namespace {

using Kvs::FEncXml;
namespace FRSCtrl = Kvs::FRSCtrl;

std::string element(const char* tag, std::initializer_list<std::pair<const char*, std::string>> attributes,
                    const std::string& children = {}) {
    Kvs::FEncXmlAttributeMap map;
    for (const auto& [name, value] : attributes) {
        map.set(name, value);
    }
    Kvs::FMStr<char> out;
    FEncXml<char>::addOpenTag(out, tag, &map);
    out.append(children);
    FEncXml<char>::addCloseTag(out, tag);
    return std::string(out.token());
}

std::string textOf(std::int64_t identifier) { return identifier == 0 ? "" : std::to_string(identifier); }

} // namespace

std::string statusMessage(const ServiceState& state, std::int64_t requestId) {
    const std::string proxy = element(FRSCtrl::Tag_Proxy, {{FRSCtrl::Attr_Name, "default"},
                                                           {FRSCtrl::Attr_Server, state.server},
                                                           {FRSCtrl::Attr_Time, "12:00:00"},
                                                           {FRSCtrl::Attr_Priority, "1"},
                                                           {FRSCtrl::Attr_Value, "1"}});
    return element(FRSCtrl::Tag_Status,
                   {{FRSCtrl::Attr_Value, state.word},
                    {FRSCtrl::Attr_RequestData, textOf(requestId)},
                    {FRSCtrl::Attr_Server, state.server},
                    {FRSCtrl::Attr_Version, "5.0.1"},
                    {FRSCtrl::Attr_LastError, state.lastError},
                    {FRSCtrl::Attr_RemoteRegistrationName, state.registration},
                    {FRSCtrl::Attr_SubProcessSessions, state.sessions}},
                   proxy);
}

std::string serverStatusMessage(const ServiceState& state) {
    return element(FRSCtrl::Tag_ServerStatus,
                   {{FRSCtrl::Attr_Value, state.word}, {FRSCtrl::Attr_LastError, state.lastError}});
}

std::string requestResultMessage(std::int64_t requestId, int statusCode) {
    return element(FRSCtrl::Tag_RequestResult, {{FRSCtrl::Attr_RequestData, textOf(requestId)},
                                                {FRSCtrl::Attr_StatusCode, std::to_string(statusCode)}});
}

std::string executeMessage(const std::string& program, const std::string& arguments) {
    return element(FRSCtrl::Tag_ServiceCommand, {{FRSCtrl::Attr_Command, FRSCtrl::Command_ExecuteProcess},
                                                 {FRSCtrl::Attr_Executable, program},
                                                 {FRSCtrl::Attr_Parameters, arguments}});
}

} // namespace kvn::daemon
