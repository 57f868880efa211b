#include "core/base/Containers.h"
#include "core/base/Errors.h"
#include "core/base/FRef.h"
#include "core/text/FGStr.h"
#include "core/text/FGUID.h"
#include "core/text/FMStr.h"
#include "core/time/FTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Kvs;

struct Counted {
    explicit Counted(int& living) : living_(living) { ++living_; }
    ~Counted() { --living_; }
    int& living_;
};

TEST(FRef, DeletesTheObjectWithTheLastHandle) {
    int living = 0;
    FRef<Counted> first(new Counted(living));
    FRef<Counted> second = first;
    FRef<Counted> third = std::move(first);
    EXPECT_FALSE(first);
    second = third;
    second = *&second; // a handle assigned to itself stays
    second.reset();
    EXPECT_EQ(living, 1);
    EXPECT_TRUE(third);
    third = FRef<Counted>();
    EXPECT_EQ(living, 0);
}

TEST(FRef, CopiesMayLiveOnSeveralThreads) {
    int living = 0;
    {
        const FRef<Counted> shared(new Counted(living));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([copy = shared] {
                for (int n = 0; n < 1000; ++n) {
                    const FRef<Counted> another = copy;
                    ASSERT_EQ(another.get(), copy.get());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(living, 1);
    }
    EXPECT_EQ(living, 0);
}

TEST(FRefDeathTest, AnEmptyHandleIsFatal) {
    // The report goes to standard output, which a death test does not see.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const FRef<std::vector<int>> empty;
    const auto redirected = [](auto use) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        use();
    };
    EXPECT_DEATH(redirected([&] { empty->clear(); }), "this->m_ptValue - File: .*FRef.h - Line: 534\n");
    EXPECT_DEATH(redirected([&] { empty[0] = 1; }), "this->m_ptValue - File: .*FRef.h - Line: 543\n");
}

TEST(FMap, KeepsTheFirstPositionAndTheLatestValue) {
    FMap<std::string, int> map;
    map.set("b", 1);
    map.set("a", 2);
    map.set("b", 3);
    std::string order;
    for (const auto& [key, value] : map) {
        order += key + std::to_string(value);
    }
    EXPECT_EQ(order, "b3a2");
    EXPECT_TRUE(map.remove("b"));
    EXPECT_FALSE(map.remove("b"));
    EXPECT_EQ(map.find("b"), nullptr);
    EXPECT_EQ(*map.find("a"), 2);
    EXPECT_EQ(map.count(), 1U);
}

TEST(FGStr, NumbersOfEveryWidth) {
    const auto text = [](auto value) { return FGStr<char>().appendValueOf(value).str(); };
    EXPECT_EQ(text(std::int8_t{-128}), "-128");
    EXPECT_EQ(text(std::uint8_t{255}), "255");
    EXPECT_EQ(text(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(text(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(FGStr<char>("x").appendValueOf(0).appendValueOf(0, true).str(), "x0");
    EXPECT_EQ(FGStr<wchar_t>().appendValueOf(-1).str(), L"-1");
    EXPECT_EQ(FGStr<char>().appendHexOf("\x0f\xa0", 2).str(), "0fa0");
    EXPECT_EQ(FGStr<char>("1fG").hexToUInt16(), 0x1f);
}

TEST(FGStr, NullIsTheEmptyText) {
    const FGStr<char> null(static_cast<const char*>(nullptr));
    EXPECT_TRUE(null.isEmpty());
    EXPECT_EQ(null, FGStr<char>(""));
    EXPECT_STREQ(null.c_str(), "");
}

TEST(FGStr, Splits) {
    struct Case {
        const char* text;
        const char* separator;
        long most;
        std::vector<std::string> pieces;
    };
    const Case cases[] = {
        {"", ",", 0, {}},
        {"a", ",", 0, {"a"}},
        {"a,b", "", 0, {"a,b"}},
        {",a,,b,", ",", 0, {"", "a", "", "b", ""}},
        {"a::b::c", "::", 2, {"a", "b::c"}},
        {"a,b", ",", 1, {"a,b"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> pieces;
        for (const FGStr<char>& piece : FGStr<char>(c.text).split(c.separator, c.most)) {
            pieces.push_back(piece.str());
        }
        EXPECT_EQ(pieces, c.pieces) << c.text;
    }
    EXPECT_EQ(FGStr<char>("aaaa").count("aa"), 2U);
    EXPECT_EQ(FGStr<char>("aaaa").count(""), 0U);
}

TEST(FMStr, KeepsTheTextAsItGrows) {
    FMStr<char> text;
    EXPECT_STREQ(text.c_str(), "");
    std::string expected;
    for (std::size_t i = 0; i < 1000; ++i) {
        text.append(std::string(i % 7, 'y')).append('x');
        expected += std::string(i % 7, 'y') + 'x';
    }
    EXPECT_EQ(text.token(), expected);
    EXPECT_EQ(std::string(text.c_str()), expected);
}

TEST(FMStr, PadsNumbers) {
    FMStr<wchar_t> text;
    text.appendValueOf(7, 3).append(L'|').appendValueOf(12345, 3).append(L'|').appendValueOf(0, 2, true);
    text.append(L'|').appendHexOf(0xAF1);
    EXPECT_EQ(text.token(), L"007|12345||0af1");
}

TEST(FTime, ReplacesFieldsOutOfRange) {
    struct Case {
        FTime time;
        const char* text;
    };
    const Case cases[] = {
        {FTime(2024, 3, 7, 9, 5, 2, 45), "2024-03-07T09:05:02.045"},
        {FTime(2024, 13, 0, 24, 60, 60, 1000), "2024-01-01T00:00:00.999"},
        {FTime(1599, 0, 32, 23, 59, 59, 0), "1970-01-01T23:59:59.000"},
        {FTime(3001, 12, 31, 0, 0, 0, 999), "1970-12-31T00:00:00.999"},
        {FTime(false), "0000-00-00T00:00:00.000"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.time.toCStringEx(), c.text);
        EXPECT_EQ(fNarrow(c.time.toWString()), std::string(c.text).substr(0, 19));
    }
    EXPECT_TRUE(FTime(false).isCleared());
    EXPECT_FALSE(FTime(true).isCleared());
}

TEST(FTime, ReadsItsTextForms) {
    struct Case {
        const wchar_t* text;
        const char* read;
    };
    const char* const cleared = "0000-00-00T00:00:00.000";
    const Case cases[] = {
        {L"2024-03-07T09:05:02", "2024-03-07T09:05:02.000"},
        {L"2024-03-07T09:05:02.045", "2024-03-07T09:05:02.045"},
        {L"0000-00-00T00:00:00", cleared},
        {L"", cleared},
        {nullptr, cleared},
        {L"2024-03-07", cleared},
        {L"2024-03-07T09:05", cleared},
        {L"2024-03-07T09:05:02T", cleared},
        {L"2024-03-07T09:05:02.", cleared},
        {L"2024-03-07 09:05:02", cleared},
        {L"2024-03-x7T09:05:02", cleared},
        {L"99999999999-03-07T09:05:02", cleared},
    };
    for (const Case& c : cases) {
        FTime time(true);
        time = c.text;
        EXPECT_EQ(time.toCStringEx(), c.read) << c.read;
    }
}

TEST(FGUID, Prints38LowerCaseCharacters) {
    const FGUID id{0x6F9619FF, 0x8B86, 0xD011, {0xB4, 0x2D, 0x00, 0xC0, 0x4F, 0xC9, 0x64, 0xFF}};
    EXPECT_EQ(id.toCString(), "{6f9619ff-8b86-d011-b42d-00c04fc964ff}");
    EXPECT_EQ(FGUID{.Data1 = 0xA}.toCString(), "{0000000a-0000-0000-0000-000000000000}");
}

TEST(FException, CarriesTextAndOrigin) {
    const FException error("text", "origin");
    EXPECT_STREQ(error.what(), "text");
    EXPECT_STREQ(error.where(), "origin");
    EXPECT_EQ(error.why(), nullptr);
}

TEST(Conversions, DatesHaveWholeSeconds) {
    using namespace std::chrono;
    const FTime leapDay(2024, 2, 29, 23, 59, 58, 999);
    const auto date = DateWithFTime(leapDay);
    ASSERT_TRUE(date);
    EXPECT_EQ(duration_cast<seconds>(date->time_since_epoch()).count(), 1709251198);
    EXPECT_EQ(FTimeWithDate(*date + milliseconds(999)).toCStringEx(), "2024-02-29T23:59:58.000");
    EXPECT_EQ(FTimeWithDate(system_clock::time_point(milliseconds(-1))).toCString(), "1969-12-31T23:59:59");
    EXPECT_FALSE(DateWithFTime(FTime(false)));
    EXPECT_FALSE(DateWithFTime(FTime(2023, 2, 29, 0, 0, 0, 0)));
}

} // namespace
