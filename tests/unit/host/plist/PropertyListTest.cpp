#include "host/plist/XmlPropertyList.h"
#include "tests/support/Test.h"

#include <locale>

namespace kvn::test {
namespace {

using host::Error;
using host::PropertyList;
using host::PropertyValue;
using host::XmlPropertyList;

std::string plist(const std::string& content) { return "<plist version=\"1.0\">" + content + "</plist>"; }

std::string nested(std::size_t depth) {
    std::string content;
    for (std::size_t i = 0; i < 2 * depth; ++i) {
        content += i < depth ? "<array>" : "</array>";
    }
    return plist(content);
}

TEST(PropertyListTest, ReadsTheFormsOfOtherPrograms) {
    const struct {
        std::string text;
        PropertyValue value;
    } cases[] = {
        {plist("<integer> +0x1F\n</integer>"), {std::int64_t{31}}},
        {plist("<integer>-0x8000000000000000</integer>"), {std::numeric_limits<std::int64_t>::min()}},
        {plist("<integer>-0</integer>"), {std::int64_t{0}}},
        {plist("<real>1e3</real>"), {1000.0}},
        {plist("<real>.5</real>"), {0.5}},
        {plist("<real>-Infinity</real>"), {-std::numeric_limits<double>::infinity()}},
        {plist("<data>\n\tQUI=\n</data>"), {PropertyValue::Data{'A', 'B'}}},
        {plist("<string>a<!-- - --><![CDATA[<b>]]>&#99;&amp;&#x44;</string>"), {std::string("a<b>c&D")}},
        {plist("<true></true>"), {true}},
        {plist("<dict><key>k</key><integer>1</integer><key>k</key><false/></dict>"),
         {PropertyValue::Dictionary{{"k", {false}}}}},
        {"\xEF\xBB\xBF<array> </array>", {PropertyValue::Array{}}},
    };
    for (const auto& [text, value] : cases) {
        const auto read = XmlPropertyList().parse(text);
        ASSERT_TRUE(std::holds_alternative<PropertyValue>(read)) << text;
        EXPECT_EQ(std::get<PropertyValue>(read), value) << text;
    }
}

TEST(PropertyListTest, RefusesOtherTexts) {
    const std::string entities = "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>";
    const std::string file = "<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>";
    const std::string dtd = "<!DOCTYPE plist SYSTEM \"http://localhost/x.dtd\">";
    std::vector<std::string> texts = {"", "hello", plist(""), plist("<true/>") + plist("<true/>")};
    texts.insert(texts.end(),
                 {entities + plist("<string>&b;</string>"), file + plist("<string>&a;</string>")});
    texts.insert(texts.end(),
                 {dtd + plist("<string>&undeclared;</string>"), "bplist00\xD0", nested(100'000)});
    texts.push_back(nested(PropertyList::kMaxDepth + 1));
    texts.push_back(plist("<string>" + std::string(PropertyList::kMaxBytes, 'a') + "</string>"));
    std::istringstream contents(
        "<true/><true/> <plist><true/></plist> <uid>1</uid> text<true/> <true>x</true> "
        "<string><true/></string> "
        "<string>\x01</string> <string>\xC3</string> <array><key>k</key></array> <dict><true/></dict> "
        "<dict><key>k</key></dict> <dict><key>k</key><key>k</key><true/></dict> <dict><key>k</key><true/> "
        "<integer></integer> <integer>12x</integer> <integer>--1</integer> "
        "<integer>18446744073709551616</integer> <integer>-9223372036854775809</integer> <real>1e</real> "
        "<real>,5</real> <date>2023-02-29T00:00:00Z</date> <date>0000-01-01T00:00:00Z</date> "
        "<date>2024-01-01T24:00:00Z</date> <date>2024-01-01</date> <data>QUI</data> <data>Q=I=</data> "
        "<data>Q===</data> <data>Q*I=</data>");
    for (std::string content; contents >> content;) {
        texts.push_back(plist(content));
    }
    EXPECT_EQ(texts.size(), 11U + 28U);
    for (const std::string& text : texts) {
        EXPECT_TRUE(std::holds_alternative<Error>(XmlPropertyList().parse(text))) << text.substr(0, 200);
    }
    EXPECT_TRUE(
        std::holds_alternative<PropertyValue>(XmlPropertyList().parse(nested(PropertyList::kMaxDepth))));
    const auto read = XmlPropertyList().parse("<plist>\n<array>\n<integer>x</integer></array></plist>");
    EXPECT_EQ(std::get<Error>(read).reason, "line 3: not a valid integer");
}

TEST(PropertyListTest, WritesOnlyListsThatCanBeReadAgain) {
    const auto year = [](int number) {
        return PropertyValue{PropertyValue::Date(std::chrono::sys_days(std::chrono::year(number) / 1 / 1))};
    };
    for (const PropertyValue& value :
         {PropertyValue{std::string("\x01")}, PropertyValue{std::string(1, '\0')},
          PropertyValue{std::string("\xFF")}, PropertyValue{std::string("\xEF\xBF\xBF")}, year(0),
          year(10000), PropertyValue{PropertyValue::Dictionary{{"\xC3", {true}}}},
          PropertyValue{std::string(PropertyList::kMaxBytes, 'a')}}) {
        EXPECT_TRUE(std::holds_alternative<Error>(XmlPropertyList().write(value)));
    }
    const PropertyValue returns{std::string("a\r\nb\rc\n")};
    EXPECT_EQ(std::get<PropertyValue>(
                  XmlPropertyList().parse(std::get<std::string>(XmlPropertyList().write(returns)))),
              returns);
}

TEST(PropertyListTest, RealsDoNotDependOnTheLocale) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    const auto text = XmlPropertyList().write(PropertyValue{123456.5});
    const auto value = XmlPropertyList().parse(plist("<real>123456.5</real>"));
    std::locale::global(before);
    EXPECT_NE(std::get<std::string>(text).find("<real>123456.5</real>"), std::string::npos);
    EXPECT_EQ(std::get<PropertyValue>(value), PropertyValue{123456.5});
}

} // namespace
} // namespace kvn::test
