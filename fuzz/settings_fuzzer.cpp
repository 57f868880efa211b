// SPDX-License-Identifier: MIT

#include "core/text/FGStr.h"
#include "fuzz/Fuzz.h"
#include "remote/FXmlConfigFile.h"

/// Takes the bytes as a policy file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvn::fuzz::logNothing();
    const std::string& path = kvn::fuzz::fileOf(data, size);
    Kvs::FXmlConfigFile file;
    if (file.loadFromFile(Kvs::FGStr<wchar_t>(std::wstring(path.begin(), path.end()).c_str()))) {
        file.getBool(L"RemoteAccess", true);
        const auto text = file.getString(L"A", L"");
        kvn::fuzz::require(text.token().size() <= size, "a text that is not in the file");
    }
    return 0;
}
