// SPDX-License-Identifier: MIT

#include "host/terminal/DialogControls.h"
#include "host/terminal/DialogLayout.h"
#include "host/terminal/TextLayout.h"
#include "tests/support/Test.h"

#include <ctime>

namespace kvn::test {
namespace {

using namespace host;
using Lines = std::vector<std::string>;

TEST(TextLayout, LetsNoTextCommandTheTerminal) {
    const std::pair<std::string, std::string> cases[] = {
        {"\033[2Jx\033]0;title\a", "\uFFFD[2Jx\uFFFD]0;title\uFFFD"},
        {"\u009B2J", "\uFFFD2J"}, // the same in one character
        {"\2332J", "\uFFFD2J"},   // and as a bare byte
        {"one\r\ntwo\tthree\u2028four", "one  two three four"},
        {std::string("a\0b\x7F", 4), "a\uFFFDb\uFFFD"},
        {"\u202Eexe.txt\u2066", "\uFFFDexe.txt\uFFFD"},
        {"\xC0\x9B", "\uFFFD\uFFFD"},     // longer than needed
        {"日\xE6\x97", "日\uFFFD\uFFFD"}, // cut off
        {"right\u200F", "right\u200F"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(harmless(text), shown);
    }
}

TEST(TextLayout, BreaksLinesBetweenWords) {
    const struct {
        const char* text;
        std::size_t width;
        Lines lines;
    } cases[] = {
        {"", 5, {""}},
        {"one two three", 13, {"one two three"}},
        {"one two three", 12, {"one two", "three"}},
        {"one   two  ", 3, {"one", "two"}},
        {"a unbreakable", 6, {"a", "unbrea", "kable"}},
        {"first\n\nthird line\n", 80, {"first", "", "third line", ""}},
        {"server 服务器已断开", 12, {"server 服务", "器已断开"}},
        {"e\u0301e\u0301e\u0301", 2, {"e\u0301e\u0301", "e\u0301"}},       // a mark stays with its letter
        {"👩‍👩‍👧🇪🇺", 4, {"👩‍👩‍👧🇪🇺"}}, // signs that are joined to one
        {"日本", 1, {"日", "本"}},                                         // wider than the line
    };
    for (const auto& [text, width, lines] : cases) {
        EXPECT_EQ(wrapped(text, width), lines) << text;
    }
}

TEST(DialogLayout, PutsLabelsValuesAndNumbersIntoColumns) {
    const auto noon = *parseLocalMinute("2026-07-23 12:00");
    const DialogLines lines{
        {"info", "Access is granted by the people of the service and by nobody else."},
        {"server", "Server:", DialogValue{"relay 7 of the company that we work for"}},
        {"Сервер", "Сервер", DialogValue{"яблоко"}},
        {"error", "Zuletzt gemeldeter Fehler", DialogValue{"x\n2  <y>"}},
        {"log", "", DialogCheckBox{"Log transfers", true, true, nullptr}},
        {"folder", "Folder", DialogFolder{false, "/var/log", nullptr}},
        {"from", "From", DialogDate{true, noon, nullptr}},
        {"wide", "状態：", DialogValue{"x"}},
        {"gap", ""},
        {"table", "Proxies", DialogTable{{"Name"}, {{"one"}}}},
        {"button", "Beside", DialogButton{"Request", nullptr}},
    };
    EXPECT_EQ(dialogText("Status\033", lines, {.width = 40}), R"(== Status� ==
    Access is granted by the people of
    the service and by nobody else.
    Server: relay 7 of the company that
            we work for
    Сервер: яблоко
    Zuletzt gemeldeter Fehler:
            x
            2  <y>
 1  [x] Log transfers
 2  Folder: /var/log (disabled)
 3  From:   2026-07-23 12:00
    状態：  x

    Proxies
    Name
    ----
    one
    Beside
 4  <Request>)");
    const DialogLines one{{"box", "", DialogCheckBox{"box", false, false, nullptr}}};
    EXPECT_EQ(dialogText("T", one, {.colours = true}), "== T ==\n\033[90m 1  [ ] box (disabled)\033[0m");
}

TEST(DialogControls, TakeTimesThatExist) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    const std::pair<const char*, std::int64_t> good[] = {
        {"1970-01-01 01:00", 0}, {"2024-02-29 00:00", 1709161200}, {"2026-07-23 18:30", 1784824200}};
    for (const auto& [text, seconds] : good) {
        const auto time = parseLocalMinute(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(std::chrono::system_clock::to_time_t(*time), seconds) << text;
        EXPECT_EQ(localMinuteText(*time + std::chrono::milliseconds(59999)), text);
    }
    for (const char* text :
         {"", "2026-07-23", "2026-07-23 18:3", "2026-07-23 18:30 ", "2026-07-23T18:30", "2026-02-29 00:00",
          "2026-07-23 24:00", "2026-7-23 018:30", "2026-03-29 02:30" /* skipped by the clock */,
          "+026-07-23 18:30", "9999-01-01 00:00"}) {
        EXPECT_FALSE(parseLocalMinute(text)) << text;
    }
    unsetenv("TZ");
    tzset();
}

} // namespace
} // namespace kvn::test
