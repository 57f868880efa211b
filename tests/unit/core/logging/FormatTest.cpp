// SPDX-License-Identifier: MIT

#include "core/logging/LineFormat.h"
#include "core/logging/OCFormat.h"
#include "core/text/FGStr.h"
#include "tests/support/Test.h"

#include <cstdarg>

namespace {

using namespace kvn::test;

using namespace Kvs;

struct Described {
    std::string description() const { return "object"; }
};

template <class... Args>
std::string text(OCFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    return format.text(args...);
}

TEST(OCFormat, PrintsAnythingAsAnObject) {
    const char* const null = nullptr;
    EXPECT_EQ(text("%@|%@|%@|%@", "a", std::string("b"), std::string_view("c"), FGStr<char>("d")), "a|b|c|d");
    EXPECT_EQ(text("%@|%@", FGStr<wchar_t>(L"\xC3\xBC"), null), "\xC3\xBC|(null)");
    EXPECT_EQ(text("%@|%@|%@|%@", -1, 2U, 0.5, true), "-1|2|0.5|1");
    EXPECT_EQ(text("%@|%@", Described(), std::optional<Described>()), "object|(null)");
    EXPECT_EQ(
        text("%@|%@|%@", std::vector<std::string>{"a", "b"}, std::vector<int>{}, std::vector<double>{1}),
        "(a, b)|()|(1)");
    const std::string large(100'000, 'x');
    EXPECT_EQ(text("<%@>", large), "<" + large + ">");
}

TEST(OCFormat, PrintsAsPrintfDoes) {
    EXPECT_EQ(text("100%% %s", "x"), "100% x");
    EXPECT_EQ(text("%d %i %u %lld %llu", std::int8_t{-1}, std::int64_t{-2}, std::uint16_t{3}, 4, 5L),
              "-1 -2 3 4 5");
    EXPECT_EQ(text("%d", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(text("%u %x", -1, std::int16_t{-1}), "4294967295 ffff");
    EXPECT_EQ(text("%08lx %X %#x %zu", 0xBEEFUL, 255, 16, std::size_t{7}), "0000beef FF 0x10 7");
    EXPECT_EQ(text("%c%5d|%-5d|%+d", 'c', 42, 42, 42), "c   42|42   |+42");
    EXPECT_EQ(text("%f %.1f %g %6.2f", 1.5, 2.25F, 1e100, 3.14159), "1.500000 2.2 1e+100   3.14");
    EXPECT_EQ(text("%5s|%-5s|%.2s|%s", "ab", "ab", "abc", FGStr<char>("")), "   ab|ab   |ab|");
    EXPECT_EQ(text("%200d", 1), std::string(199, ' ') + "1");
}

template <class Format>
concept Compiles = requires {
    typename std::bool_constant<(Format("%d"), true)>;
};

// A format that does not fit its arguments does not compile.
static_assert(Compiles<OCFormat<int>> && !Compiles<OCFormat<std::string>>);
static_assert(OCFormat<int, std::string>::accepts("%d %s"));
static_assert(OCFormat<int>::accepts("%@"));
static_assert(!OCFormat<int>::accepts("%s") && !OCFormat<int>::accepts("%f"));
static_assert(!OCFormat<double>::accepts("%d") && !OCFormat<const char*>::accepts("%d"));
static_assert(!OCFormat<Described>::accepts("%s") && !OCFormat<std::vector<int>>::accepts("%d"));
static_assert(!OCFormat<>::accepts("%@") && !OCFormat<int>::accepts("none"));
static_assert(!OCFormat<int>::accepts("%d %") && !OCFormat<int>::accepts("%n"));
static_assert(!OCFormat<int>::accepts("%*d") && !OCFormat<int>::accepts("%5@"));
static_assert(!OCFormat<std::string>::accepts("%ls"));

__attribute__((format(printf, 1, 2))) std::string line(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const LineFormat line(format, args);
    va_end(args);
    return std::string(line.text());
}

TEST(LineFormat, EqualsPrintfUpTo4095Characters) {
    const char* volatile null = nullptr; // keeps the compiler from checking the argument
    EXPECT_EQ(line("%d%s%u.", std::numeric_limits<int>::min(), "|", std::numeric_limits<unsigned>::max()),
              "-2147483648|4294967295.");
    EXPECT_EQ(line("%ld %llu %zd %c|%-3d|%5s|%.*s|%%", -1L, ~0ULL, ssize_t{-2}, 'c', 1, "ab", 2, "abc"),
              "-1 18446744073709551615 -2 c|1  |   ab|ab|%");
    EXPECT_EQ(line("%s", static_cast<const char*>(null)), "(null)");
    // The simple part comes first and is done again by the full formatter.
    EXPECT_EQ(line("%s %d %% %5.1f %lu %x", "a", 1, 2.25, 3UL, 255U), "a 1 %   2.2 3 ff");

    const std::string large(5000, 'x');
    EXPECT_EQ(line("%s", large.c_str()), std::string(4095, 'x'));
    EXPECT_EQ(line("%6s", large.c_str()), std::string(4095, 'x'));
    EXPECT_EQ(line("%s%d", large.substr(0, 4093).c_str(), 12345), large.substr(0, 4093) + "12");
    EXPECT_EQ(line("%s%s", large.c_str(), large.c_str()), std::string(4095, 'x'));
}

TEST(Formats, EscapeTheControlCharactersOfValuesOnly) {
    const std::pair<const char*, const char*> cases[] = {
        {"a\nb\r\tc", "a\\nb\\r\\tc"},
        {"\x1B[2J\x7F", "\\x1b[2J\\x7f"},
        {"\xC2\x9B"
         "2J\xC2\x85",
         "\\u009b2J\\u0085"},
        {"\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xAE\xE2\x81\xA6", "\\u2028\\u2029\\u202e\\u2066"},
        // What is no UTF-8 could be one byte of Latin-1: a lone byte, an overlong form, a cut one.
        {"\x9B[", "\\x9b["},
        {"\xE0\x82\x9B", "\xE0\\x82\\x9b"},
        {"\xE2\x80", "\xE2\\x80"},
        {"a \\ ~ \xC4\x9B \xE2\x80\xA7 \xF0\x9D\x84\x9E \xFC",
         "a \\ ~ \xC4\x9B \xE2\x80\xA7 \xF0\x9D\x84\x9E \xFC"},
    };
    for (const auto& [value, escaped] : cases) {
        const std::string expected = "\t"s + escaped + "\n" + escaped + "\n";
        EXPECT_EQ(line("\t%s\n%1s\n", value, value), expected);
        EXPECT_EQ(text("\t%s\n%@\n", value, value), expected);
    }
    EXPECT_EQ(text("%@%c", std::vector<std::string>{"a\n", "\0"s}, '\n'), "(a\\n, \\x00)\\n");
    EXPECT_EQ(line("%.3s\n%c", "a\nbc", '\n'), "a\\nb\\n\\n") << "a format that cannot be followed";
    EXPECT_EQ(line("%s", std::string(4000, '\n').c_str()).size(), 4095U);
}

} // namespace
