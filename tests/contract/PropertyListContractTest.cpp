// SPDX-License-Identifier: MIT

#include IMPLEMENTATIONS
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using namespace host;

std::string plist(const std::string& content) { return "<plist version=\"1.0\">" + content + "</plist>"; }

std::string nested(std::size_t depth) {
    std::string content;
    for (std::size_t i = 0; i < 2 * depth; ++i) {
        content += i < depth ? "<array>" : "</array>";
    }
    return plist(content);
}

/// Checks what every reader and writer has to do. Some read more forms than the one in XML.
template <class Lists>
class PropertyListContract : public testing::Test {
protected:
    std::optional<PropertyValue> parsed(const std::string& text) const {
        auto read = lists_.parse(text);
        return read.index() == 0 ? std::optional(std::get<0>(std::move(read))) : std::nullopt;
    }

    const Lists lists_{};
};

TYPED_TEST_SUITE(PropertyListContract, PropertyLists);

TYPED_TEST(PropertyListContract, ReadsTheFormsOfOtherPrograms) {
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
        // behind the document the end of a longer one, of which it has replaced the beginning
        {plist("<true/>") + "\n", {true}},
        {plist("<true/>") + plist("<false/>"), {true}},
        {plist("<true/>") + "string>\xC3 & </dict>\n</plist>", {true}},
        {"<array/> </array></plist>", {PropertyValue::Array{}}},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(this->parsed(text), value) << text;
    }
}

TYPED_TEST(PropertyListContract, RefusesOtherTexts) {
    const std::string entities = "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>";
    const std::string file = "<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>";
    const std::string dtd = "<!DOCTYPE plist SYSTEM \"http://localhost/x.dtd\">";
    std::vector<std::string> texts = {"", "{hello", "bplist00\xD0", plist("")};
    texts.push_back(entities + plist("<string>&b;</string>"));
    texts.push_back(file + plist("<string>&a;</string>"));
    texts.push_back(dtd + plist("<string>&undeclared;</string>"));
    texts.push_back(nested(100'000));
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
    for (const std::string& text : texts) {
        EXPECT_EQ(this->parsed(text), std::nullopt) << text.substr(0, 200);
    }
    EXPECT_TRUE(this->parsed(nested(PropertyList::kMaxDepth)));
    const auto read = this->lists_.parse("<plist>\n<array>\n<integer>x</integer></array></plist>");
    EXPECT_EQ(std::get<Error>(read).reason, "line 3: not a valid integer");
}

TYPED_TEST(PropertyListContract, WritesOnlyListsThatCanBeReadAgain) {
    const auto year = [](int number) {
        return PropertyValue{PropertyValue::Date(std::chrono::sys_days(std::chrono::year(number) / 1 / 1))};
    };
    for (const PropertyValue& value :
         {PropertyValue{std::string("\x01")}, PropertyValue{std::string(1, '\0')},
          PropertyValue{std::string("\xFF")}, PropertyValue{std::string("\xEF\xBF\xBF")}, year(0),
          year(10000), PropertyValue{PropertyValue::Dictionary{{"\xC3", {true}}}},
          PropertyValue{std::string(PropertyList::kMaxBytes, 'a')}}) {
        EXPECT_TRUE(std::holds_alternative<Error>(this->lists_.write(value)));
    }
    const PropertyValue returns{std::string("a\r\nb\rc\n")};
    EXPECT_EQ(this->parsed(std::get<std::string>(this->lists_.write(returns))), returns);
}

} // namespace
} // namespace kvn::test
