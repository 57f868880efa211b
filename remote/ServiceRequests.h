// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FMStr.h"
#include "remote/FRRecords.h"
#include "remote/xml/FEncXmlWriter.h"

#include <initializer_list>

/// These functions append the agent's messages to the service. Any thread.
namespace Kvs {

/// Writes `<tag RequestData="ID" />`; with 0 for the identifier `<tag />`.
void fAddRequest(FMStr<char>& out, FStrToken<char> tag, RequestId requestId);

/// Writes `<tag a="1" RequestData="ID"></tag>`. Attributes with empty values are left out.
void fAddRequest(FMStr<char>& out, FStrToken<char> tag, std::initializer_list<FEncXmlPair> attributes,
                 RequestId requestId);

} // namespace Kvs
