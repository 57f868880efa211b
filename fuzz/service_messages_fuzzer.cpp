// SPDX-License-Identifier: MIT

#include "core/text/FGStr.h"
#include "fuzz/Fuzz.h"
#include "remote/ServiceMessages.h"
#include "remote/platform/ClientArguments.h"
#include "remote/platform/OFRRecords.h"
#include "remote/xml/FEncXmlDocument.h"

using kvn::fuzz::require;

namespace {

constexpr std::uint64_t kSession = 7;

void readAs(const Kvs::FEncXmlNode<char>& message) {
    using kvn::ObjcDTOFactory;
    const auto info = ObjcDTOFactory::convertFRServiceInfo(Kvs::fReadServiceInfo(message, kSession));
    require(info.subProcessRunning || info.subProcessUser.empty(), "a user of a session that does not run");
    ObjcDTOFactory::convertRequestResult(Kvs::fReadRequestResult(message));
    ObjcDTOFactory::convertProxyStatus(Kvs::fReadProxyStatus(message));
    ObjcDTOFactory::convertFRServiceCommand(Kvs::fReadServiceCommand(message));
}

} // namespace

/// Takes the bytes as what the service sends, as the parameters of a launch, and as a list of sessions.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = kvn::fuzz::textOf(data, size);
    std::size_t length = 0;
    for (const std::string& argument : kvn::clientArguments(rest)) {
        length += argument.size();
    }
    require(length <= 2 * size, "arguments out of nowhere"); // the longest option's name grows by half
    std::wstring wide(data, data + size);
    Kvs::_FRServiceInfo info{};
    Kvs::parseSubProcessSessions(info, Kvs::FGStr<wchar_t>(wide.c_str()), kSession);

    Kvs::FEncXmlDocument<char> document;
    long consumed = 0;
    while (document.loadXml(rest.data(), static_cast<long>(rest.size()), consumed)) {
        readAs(document.root());
        rest.remove_prefix(static_cast<std::size_t>(consumed) + 1);
    }
    return 0;
}
