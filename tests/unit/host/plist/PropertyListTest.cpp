// SPDX-License-Identifier: MIT

#include "host/plist/XmlPropertyList.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

TEST(XmlPropertyList, IsToldFromOtherForms) {
    const std::pair<const char*, bool> cases[] = {
        {"<?xml version", true},
        {"\xEF\xBB\xBF <!-- -->", true},
        {"<plist>", true},
        {"<data>QUI=", true},
        {"<0fbd 77>", false},
        {"(<0a>)", false},
        {"bplist00", false},
        {"<", false},
        {"", false},
    };
    for (const auto& [text, isXml] : cases) {
        EXPECT_EQ(host::isXmlPropertyList(text), isXml) << text;
    }
}

} // namespace
} // namespace kvn::test
