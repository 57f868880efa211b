#include "standins/service-daemon/ServiceState.h"

#include "remote/FRSCtrl.h"
#include "remote/xml/FEncXml.h"

namespace kvn::daemon {
namespace {

using Kvs::FEncXml;
using Attributes = Kvs::FEncXmlAttributeMap;
namespace FRSCtrl = Kvs::FRSCtrl;

std::string element(const char* tag, const Attributes& attributes, const std::string& children = {}) {
    Kvs::FMStr<char> out;
    FEncXml<char>::addOpenTag(out, tag, &attributes);
    out.append(children);
    FEncXml<char>::addCloseTag(out, tag);
    return std::string(out.token());
}

std::string numberOrNothing(std::int64_t number) { return number == 0 ? "" : std::to_string(number); }

} // namespace

std::string statusMessage(const ServiceState& state, std::int64_t requestId) {
    std::string proxies;
    for (const Proxy& proxy : state.proxies) {
        Attributes attributes;
        attributes.set(FRSCtrl::Attr_Name, proxy.name);
        attributes.set(FRSCtrl::Attr_Server, proxy.server);
        attributes.set(FRSCtrl::Attr_Time, proxy.time);
        attributes.set(FRSCtrl::Attr_Priority, proxy.priority);
        attributes.set(FRSCtrl::Attr_Value, proxy.value);
        proxies += element(FRSCtrl::Tag_Proxy, attributes);
    }
    const std::string id = numberOrNothing(requestId);
    Attributes attributes;
    attributes.set(FRSCtrl::Attr_Value, state.word);
    attributes.set(FRSCtrl::Attr_RequestData, id);
    attributes.set(FRSCtrl::Attr_Server, state.server);
    attributes.set(FRSCtrl::Attr_Version, state.version);
    attributes.set(FRSCtrl::Attr_LastError, state.lastError);
    attributes.set(FRSCtrl::Attr_RemoteRegistrationName, state.registration);
    attributes.set(FRSCtrl::Attr_SubProcessSessions, state.sessions);
    return element(FRSCtrl::Tag_Status, attributes, proxies);
}

std::string serverStatusMessage(const ServiceState& state) {
    Attributes attributes;
    attributes.set(FRSCtrl::Attr_Value, state.word);
    attributes.set(FRSCtrl::Attr_LastError, state.lastError);
    return element(FRSCtrl::Tag_ServerStatus, attributes);
}

std::string requestResultMessage(std::int64_t requestId, int statusCode) {
    const std::string id = numberOrNothing(requestId);
    const std::string code = std::to_string(statusCode);
    Attributes attributes;
    attributes.set(FRSCtrl::Attr_RequestData, id);
    attributes.set(FRSCtrl::Attr_StatusCode, code);
    return element(FRSCtrl::Tag_RequestResult, attributes);
}

std::string serviceCommandMessage(const std::string& command, const std::string& executable,
                                  const std::string& parameters) {
    Attributes attributes;
    attributes.set(FRSCtrl::Attr_Command, command);
    attributes.set(FRSCtrl::Attr_Executable, executable);
    attributes.set(FRSCtrl::Attr_Parameters, parameters);
    return element(FRSCtrl::Tag_ServiceCommand, attributes);
}

} // namespace kvn::daemon
