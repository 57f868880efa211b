// SPDX-License-Identifier: MIT

#include "remote/ServiceRequests.h"

#include "remote/FRSCtrl.h"
#include "remote/xml/FEncXml.h"

#include <string>

namespace Kvs {

using FRSCtrl::Attr_RequestData;

void fAddRequest(FMStr<char>& out, FStrToken<char> tag, RequestId requestId) {
    const std::string requestData = std::to_string(requestId);
    FEncXml<char>::addTag(out, tag, requestId ? Attr_RequestData : "", requestData);
}

void fAddRequest(FMStr<char>& out, FStrToken<char> tag, std::initializer_list<FEncXmlPair> pairs,
                 RequestId requestId) {
    const std::string requestData = std::to_string(requestId);
    FEncXmlAttributeMap attributes;
    for (const auto& [name, value] : pairs) {
        attributes.set(name, value);
    }
    attributes.set(Attr_RequestData, requestData);
    FEncXml<char>::addOpenTag(out, tag, &attributes);
    FEncXml<char>::addCloseTag(out, tag);
}

} // namespace Kvs
