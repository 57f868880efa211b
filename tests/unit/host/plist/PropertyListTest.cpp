// SPDX-License-Identifier: MIT

#include "host/plist/PortablePropertyList.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using namespace host;

std::optional<PropertyValue> parsed(const std::string& text) {
    auto read = PortablePropertyList().parse(text);
    return read.index() == 0 ? std::optional(std::get<0>(std::move(read))) : std::nullopt;
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
TEST(PortablePropertyList, RefusesBinaryListsThatAreDamagedOrTooLarge) {
    const std::string dictionary = "\xD1\1\2";
    const std::string valid = binary({dictionary, "\x51k", "\xA2\3\4", "\x10\7", "\x61\x20\xAC"});
    const PropertyValue value{PropertyValue::Dictionary{
        {"k", {PropertyValue::Array{{std::int64_t{7}}, {std::string("\xE2\x82\xAC")}}}}}};
    ASSERT_EQ(parsed(valid), value);
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

TEST(PortablePropertyList, TellsTheFormsThatItReads) {
    const std::pair<const char*, bool> cases[] = {
        {"\xEF\xBB\xBF <!-- -->", true},
        {"<plist>", true},
        {"(<0a>)", false},
        {"bplist00", true},
        {"", false},
    };
    for (const auto& [text, isRead] : cases) {
        EXPECT_EQ(readsPropertyListForm(text), isRead) << text;
    }
}

} // namespace
} // namespace kvn::test
