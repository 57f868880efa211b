#include "remote/xml/FEncXml.h"

#include "core/text/FGStr.h"
#include "remote/xml/FEncXmlDocument.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_literals;
using Kvs::FEncXml;
using Kvs::FEncXmlAttributeMap;
using Kvs::FEncXmlFragment;
using Kvs::FMap;
using Kvs::FMStr;

std::string decoded(std::string_view raw) {
    FMStr<char> out;
    out.append("+");
    FEncXml<char>::addDecoded(out, raw.data(), static_cast<long>(raw.size()));
    return std::string(out.token().substr(1));
}

std::string encoded(const char* text, long length) {
    FMStr<char> out;
    FEncXml<char>::addEncoded(out, text, length);
    return std::string(out.token());
}

std::string openTag(const char* name, const FEncXmlAttributeMap* attributes) {
    FMStr<char> out;
    FEncXml<char>::addOpenTag(out, name, attributes);
    return std::string(out.token());
}

TEST(FEncXml, Decodes) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"&amp;&quot;&apos;&gt;&lt;", "&\"'><"},
        {"a&#34;b&#60;c&#62;d", "a\"b<c>d"},
        {"&#65;&#065;&#65x;&#321;", "AAAA"}, // up to the first non-digit; 321 is 256 + 65
        {"&#x41;&#x4a;&#x4A;&#x41g;&#x141;", "AJJAA"},
        {"&#0;", "\0"s},
        {"&#;&#x;&#xg;&#X41;&#-5;", "&#;&#x;&#xg;&#X41;&#-5;"},
        {"&nbsp;&;&AMP;&amp ;", "&nbsp;&;&AMP;&amp ;"},
        {"&ampere;&am;", "&ampere;&am;"},
        {"a & b", "a & b"},
        {"&amp", "&amp"},
        {"; &lt;&", "; <&"},
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

TEST(FEncXml, EncodesUpToALengthOrANul) {
    EXPECT_EQ(encoded("a\"b&c<d>e'f\xC3\xA4", -1), "a&#34;b&amp;c&#60;d&#62;e'f\xC3\xA4");
    EXPECT_EQ(encoded("<<<", 2), "&#60;&#60;");
    EXPECT_EQ(encoded("a\0b", 3), "a");
    EXPECT_EQ(encoded("", -1), "");
    EXPECT_EQ(encoded(nullptr, -1), "");
}

TEST(FEncXml, WritesTags) {
    FEncXmlAttributeMap attributes;
    EXPECT_EQ(openTag("a", nullptr), "<a>");
    EXPECT_EQ(openTag("a", &attributes), "<a>");
    for (const auto& [name, value] :
         std::initializer_list<std::pair<const char*, const char*>>{{"SessionID", "100008"},
                                                                    {"Empty", ""},
                                                                    {"", "x"},
                                                                    {"UserID", "al&ice"},
                                                                    {"ProcessID", "4242"}}) {
        attributes.set(name, value);
    }
    FMStr<char> out;
    FEncXml<char>::addOpenTag(out, "RegisterAgent", &attributes);
    FEncXml<char>::addCloseTag(out, "RegisterAgent");
    FEncXml<char>::addTag(out, "GetStatus", "RequestData", "17");
    FEncXml<char>::addTag(out, "Pause", "", "17");
    FEncXml<char>::addTag(out, "T", "A", "");
    FEncXml<char>::addTag(out, "T", "A", "<");
    EXPECT_EQ(out.token(),
              "<RegisterAgent SessionID=\"100008\" UserID=\"al&amp;ice\" ProcessID=\"4242\">"
              "</RegisterAgent><GetStatus RequestData=\"17\" /><Pause /><T A=\"\" /><T A=\"&#60;\" />");
}

/// Values of every length, with each special character at every place, come back as they were, and the
/// characters beside the special ones in the table of characters are left alone.
TEST(FEncXml, ReadsBackWhatItWrites) {
    const std::string beside = "!#$%'(:;=?@ \x01\x7F\x80\xA2\xA6\xBC\xBE\xFF";
    for (std::size_t length = 1; length < 40; ++length) {
        for (std::size_t place = 0; place < length; ++place) {
            for (const char special : "\"&<>" + beside.substr(place % beside.size(), 1)) {
                std::string value(length, 'v');
                value[place] = special;
                const std::string name(length, 'n');
                FEncXmlAttributeMap attributes;
                attributes.set(name, value);
                const std::string tag = openTag("a", &attributes) + "</a>";
                const bool escaped = std::string_view("\"&<>").find(special) != std::string_view::npos;
                ASSERT_EQ(tag.size(),
                          std::string_view("<a =\"\"></a>").size() + 2 * length + (escaped ? 4 : 0));

                Kvs::FEncXmlDocument<char> document;
                ASSERT_TRUE(document.loadXml(tag.c_str()));
                ASSERT_EQ(decoded(document.root().attribute(name.c_str()).token()), value) << tag;
            }
        }
    }
}

TEST(FEncXml, DecodesTheNextTag) {
    FEncXmlFragment<char> name;
    FMap<FEncXmlFragment<char>, FEncXmlFragment<char>> attributes;
    long consumed = 0;
    bool selfClosing = false;
    ASSERT_TRUE(FEncXml<char>::decodeNextTag("text <a x=\"1\" y='2' x=3/>rest", name, attributes, consumed,
                                             selfClosing));
    EXPECT_TRUE(name == "a");
    EXPECT_TRUE(selfClosing);
    EXPECT_EQ(consumed, 25);
    ASSERT_EQ(attributes.count(), 2u);
    EXPECT_TRUE(attributes.begin()->first == "x" && attributes.begin()->second == "3");
    EXPECT_TRUE(*attributes.find("y") == "'2'");

    EXPECT_FALSE(FEncXml<char>::decodeNextTag("no tag >", name, attributes, consumed, selfClosing));
    EXPECT_EQ(consumed, 25);
    EXPECT_FALSE(FEncXml<char>::decodeNextTag("> <a x=\"1\"", name, attributes, consumed, selfClosing));
    EXPECT_EQ(consumed, -1);
}

} // namespace
