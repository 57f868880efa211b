// SPDX-License-Identifier: MIT

#include "remote/FXmlConfigFile.h"

#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/system/FileDescriptor.h"
#include "core/system/ReadFile.h"
#include "core/system/Trust.h"
#include "core/text/FGStr.h"
#include "core/text/TextFunctions.h"
#include "remote/xml/FEncXml.h"

#include <cerrno>
#include <string>
#include <string_view>

namespace Kvs {

namespace {

/// Returns the first element of that name below the node. Recursion is safe: the document limits the levels.
FEncXmlNode<wchar_t> firstBelow(const FEncXmlNode<wchar_t>& node, const wchar_t* name) {
    for (const FEncXmlNode<wchar_t>& child : node.children()) {
        if (child.name() == name) {
            return child;
        }
        if (const auto found = firstBelow(child, name)) {
            return found;
        }
    }
    return {};
}

} // namespace

bool FXmlConfigFile::loadFromFile(const FGStr<wchar_t>& path) {
    document_.loadXml(L"");
    const std::string narrow = fNarrow(path);
    const FileDescriptor file = fOpenTrustedFile(narrow);
    if (!file) {
        if (errno == EPERM || errno == ELOOP) {
            CNSLog("%s is not obeyed, because users other than root can change it", narrow.c_str());
        }
        return false;
    }
    const auto bytes = fReadAll(file.get(), kMaxBytes);
    if (!bytes) {
        if (errno == EFBIG) {
            return false;
        }
        throw FException("Reading settings.xml failed", "FXmlConfigFile::loadFromFile()");
    }
    std::string_view text = *bytes;
    if (text.starts_with(BOMLE)) {
        text.remove_prefix(BOMSize);
    }
    const FGStr<wchar_t> wide = fWiden(text);
    long consumed = 0;
    return document_.loadXml(wide.c_str(), static_cast<long>(wide.length()), consumed);
}

bool FXmlConfigFile::getBool(const wchar_t* name, bool defaultValue) const {
    const std::wstring text = fLowerAscii(getString(name, defaultValue ? L"1" : L"0").str());
    return text == L"1" || text == L"true" || text == L"on";
}

FGStr<wchar_t> FXmlConfigFile::getString(const wchar_t* name, const wchar_t* defaultValue) const {
    const auto node = firstBelow(document_.root(), name);
    if (!node) {
        return defaultValue;
    }
    FMStr<wchar_t> text;
    for (const auto& fragment : node.text()) {
        FEncXml<wchar_t>::addDecoded(text, fragment);
    }
    return text.token();
}

} // namespace Kvs
