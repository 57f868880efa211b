// SPDX-License-Identifier: MIT

#include "remote/xml/FEncXml.h"
#include "tests/support/Test.h"

#include "remote/xml/FEncXmlDocument.h"

namespace {

using namespace kvn::test;

using Kvs::FEncXml;
using Kvs::FMStr;

std::string decoded(std::string_view raw) {
    FMStr<char> out;
    out.append("+"); // decoding appends
    FEncXml<char>::addDecoded(out, raw.data(), static_cast<long>(raw.size()));
    return std::string(out.token().substr(1));
}

TEST(FEncXml, DecodesReferences) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"&amp;&quot;&apos;&gt;&lt;", "&\"'><"},
        {"a&#34;b&#60;c&#62;d", "a\"b<c>d"},
        {"&#65;&#065;&#65x;&#321;", "AAAA"}, // up to the first non-digit; 321 is 256 + 65
        {"&#x41;&#x4a;&#x4A;&#x41g;&#x141;", "AJJAA"},
        {"&#0;", "\0"s},
        {"&#;&#x;&#xg;&#X41;&#-5;", "&#;&#x;&#xg;&#X41;&#-5;"},
        {"&nbsp;&;&AMP;&amp ;&ampere;&am;", "&nbsp;&;&AMP;&amp ;&ampere;&am;"},
        {"a & b &amp", "a & b &amp"},
        {"& &lt; &lt;", "& &lt; <"}, // a reference reaches from the "&" to the next ";"
        {"&amp;lt;", "&lt;"},
    };
    for (const auto& [raw, expected] : cases) {
        EXPECT_EQ(decoded(raw), expected) << raw;
    }
    EXPECT_EQ(decoded(std::string_view("&amp;", 4)), "&amp");

    FMStr<wchar_t> wide;
    FEncXml<wchar_t>::addDecoded(wide, L"&lt;&#8364;&#x20AC;&no;", 23);
    EXPECT_EQ(wide.token(), L"<\x20AC\x20AC&no;");
}

TEST(FEncXml, WritesTagsAndTexts) {
    Kvs::FEncXmlAttributeMap attributes;
    FMStr<char> out;
    FEncXml<char>::addOpenTag(out, "a", nullptr);
    FEncXml<char>::addOpenTag(out, "b", &attributes);
    attributes.set("Empty", "");
    attributes.set("", "x");
    attributes.set("UserID", "al&ice");
    attributes.set("ProcessID", "4242");
    FEncXml<char>::addOpenTag(out, "RegisterAgent", &attributes);
    FEncXml<char>::addCloseTag(out, "RegisterAgent");
    FEncXml<char>::addTag(out, "GetStatus", "RequestData", "17");
    FEncXml<char>::addTag(out, "Pause", "", "17");
    FEncXml<char>::addTag(out, "T", "A", "");
    EXPECT_EQ(out.token(), "<a><b><RegisterAgent UserID=\"al&amp;ice\" ProcessID=\"4242\"></RegisterAgent>"
                           "<GetStatus RequestData=\"17\" /><Pause /><T A=\"\" />");

    // Longer than a text that fits into the object, with a value to be escaped between others.
    const std::string x(300, 'x');
    FMStr<char> longer;
    FEncXml<char>::addElement(longer, "E", {{"A", x}, {"B", "<" + x}, {"C", x}});
    EXPECT_EQ(longer.token(), "<E A=\"" + x + "\" B=\"&#60;" + x + "\" C=\"" + x + "\"></E>");

    FMStr<char> texts;
    FEncXml<char>::addEncoded(texts, "a\"b&c<d>e'f\xC3\xA4|", -1);
    FEncXml<char>::addEncoded(texts, "<<<|", 2);
    FEncXml<char>::addEncoded(texts, "a\0b", 3);
    FEncXml<char>::addEncoded(texts, nullptr, -1);
    EXPECT_EQ(texts.token(), "a&#34;b&amp;c&#60;d&#62;e'f\xC3\xA4|&#60;&#60;a");
}

/// Values of every length, with each special character at every place, are read back unchanged. Characters
/// that differ from a special one in one bit are not escaped.
TEST(FEncXml, ReadsBackWhatItWrites) {
    const std::string special = "\"&<>", similar = "!#$%'(:;=?@ \x01\x7F\x80\xA2\xA6\xBC\xBE\xFF";
    for (std::size_t length = 1; length < 40; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (const char unit : special + similar[place % similar.size()]) {
                std::string value(length, 'v');
                value[place] = unit;
                const std::string name(length, 'n');
                Kvs::FEncXmlAttributeMap attributes;
                attributes.set(name, value);
                FMStr<char> tag;
                FEncXml<char>::addOpenTag(tag, "a", &attributes);
                FEncXml<char>::addCloseTag(tag, "a");
                FMStr<char> element;
                FEncXml<char>::addElement(element, "a", {{"", value}, {name, value}, {name, ""}});
                ASSERT_EQ(element.token(), tag.token());
                const bool escaped = special.find(unit) != special.npos;
                ASSERT_EQ(tag.length(), "<a =\"\"></a>"s.size() + 2 * length + (escaped ? 4 : 0));

                Kvs::FEncXmlDocument<char> document;
                ASSERT_TRUE(document.loadXml(tag.c_str()));
                ASSERT_EQ(decoded(document.root().attribute(name.c_str()).token()), value);
            }
        }
    }
}

} // namespace
