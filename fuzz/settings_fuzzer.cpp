// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "core/text/FGStr.h"
#include "fuzz/Fuzz.h"
#include "remote/FXmlConfigFile.h"

/// Takes the bytes as a policy file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvn::fuzz::logNothing();
    const std::string& path = kvn::fuzz::fileOf(data, size);
    Kvs::FSysInfoPaths::setRoot(path); // any root: the own user may then write the policy
    Kvs::FXmlConfigFile file;
    const bool loaded =
        file.loadFromFile(Kvs::FGStr<wchar_t>(std::wstring(path.begin(), path.end()).c_str()));
    const std::string_view text = kvn::fuzz::textOf(data, size);
    kvn::fuzz::require(loaded || text != "<A>x</A>", "a good file is refused");
    if (loaded) {
        file.getBool(L"RemoteAccess", true);
        const auto value = file.getString(L"A", L"");
        kvn::fuzz::require(value.token().size() <= size, "a text that is not in the file");
    }
    return 0;
}
