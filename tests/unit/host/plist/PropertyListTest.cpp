// SPDX-License-Identifier: MIT

#include "host/plist/XmlPropertyList.h"
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

std::optional<PropertyValue> parsed(const std::string& text) {
    auto read = XmlPropertyList().parse(text);
    return read.index() == 0 ? std::optional(std::get<0>(std::move(read))) : std::nullopt;
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
        // behind the document the end of a longer one, of which it has replaced the beginning
        {plist("<true/>") + "\n", {true}},
        {plist("<true/>") + plist("<false/>"), {true}},
        {plist("<true/>") + "string>\xC3 & </dict>\n</plist>", {true}},
        {"<array/> </array></plist>", {PropertyValue::Array{}}},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(parsed(text), value) << text;
    }
}

TEST(PropertyListTest, RefusesOtherTexts) {
    const std::string entities = "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>";
    const std::string file = "<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>";
    const std::string dtd = "<!DOCTYPE plist SYSTEM \"http://localhost/x.dtd\">";
    std::vector<std::string> texts = {"", "hello", "bplist00\xD0", plist("")};
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
        EXPECT_EQ(parsed(text), std::nullopt) << text.substr(0, 200);
    }
    EXPECT_TRUE(parsed(nested(PropertyList::kMaxDepth)));
    const auto read = XmlPropertyList().parse("<plist>\n<array>\n<integer>x</integer></array></plist>");
    EXPECT_EQ(std::get<Error>(read).reason, "line 3: not a valid integer");
}

/// Returns a binary list of these objects, of which the first is the top one. References have one byte.
std::string binary(const std::vector<std::string>& objects) {
    std::string list = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table += std::string{static_cast<char>(list.size() >> 8), static_cast<char>(list.size())};
        list += object;
    }
    const auto number = [](std::size_t value) {
        return std::string(6, '\0') + static_cast<char>(value >> 8) + static_cast<char>(value);
    };
    return list + table + "\0\0\0\0\0\0\2\1"s + number(objects.size()) + number(0) + number(list.size());
}

// Lists that another program wrote are read in RemoteAppSuitePrefsTest.
TEST(PropertyListTest, RefusesBinaryListsThatAreDamagedOrTooLarge) {
    const std::string dictionary = "\xD1\1\2";
    const std::string valid = binary({dictionary, "\x51k", "\xA2\3\4", "\x10\7", "\x61\x20\xAC"});
    const PropertyValue value{PropertyValue::Dictionary{
        {"k", {PropertyValue::Array{{std::int64_t{7}}, {std::string("\xE2\x82\xAC")}}}}}};
    ASSERT_EQ(parsed(valid), value);
    for (std::size_t i = 0; i < valid.size(); ++i) {
        EXPECT_EQ(parsed(valid.substr(0, i)), std::nullopt) << i;
        for (const char byte : {'\0', '\x7F', '\xFF', static_cast<char>(valid[i] + 1)}) {
            std::string changed = valid;
            changed[i] = byte;
            parsed(changed); // reads nothing that is not there
        }
    }
    std::vector<std::string> nest(PropertyList::kMaxDepth - 1, "\xA1"); // each array holds the next one
    for (std::size_t i = 0; i < nest.size(); ++i) {
        nest[i] += static_cast<char>(i + 1);
    }
    EXPECT_FALSE(parsed(binary({"\xA1\1", "\xA1\0"s}))) << "arrays that hold one another";
    nest.back() = "\xA0";
    EXPECT_TRUE(parsed(binary(nest)));
    std::vector<std::string> twice(40, "\xA2"); // each array holds the next one twice
    for (std::size_t i = 0; i < twice.size(); ++i) {
        twice[i] += std::string(2, static_cast<char>(i + 1));
    }
    twice.back() = "\x09";
    std::string shared = "\xAF\x11\4\0"s + std::string(1024, '\1'); // 1,024 times the same 8,000 bytes
    const std::vector<std::vector<std::string>> refused = {
        twice,
        {shared, "\x5F\x11\x1F\x40" + std::string(8000, 'a')},
        {"\xD1\1\1", "\x09"},                    // a key that is no text
        {"\xA1\1"},                              // no such object
        {"\x80\1"},                              // a UID
        {"\0"s},                                 // null
        {"\xC0"},                                // a set
        {"\x51\1"},                              // a control character
        {"\x51\xC3"},                            // no ASCII
        {"\x61\xD8\0"s},                         // half a pair
        {"\x62\xDC\0\xD8\0"s},                   // a pair in the wrong order
        {"\x33\x7F\xF8\0\0\0\0\0\0"s},           // a date that is no number
        {"\x33\x42\x70\0\0\0\0\0\0"s},           // a date after the year 9999
        {"\x14" + std::string(16, '\xFF')},      // an integer above 2^64
        {"\x5F\x13" + std::string(8, '\xFF')},   // more bytes than there are
        {"\x6F\x13\x80" + std::string(7, '\0')}, // as many, if a product overflows
    };
    for (const auto& objects : refused) {
        EXPECT_EQ(parsed(binary(objects)), std::nullopt) << testing::PrintToString(objects.front());
    }
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
    EXPECT_EQ(parsed(std::get<std::string>(XmlPropertyList().write(returns))), returns);
}

} // namespace
} // namespace kvn::test
