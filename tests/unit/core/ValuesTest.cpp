// SPDX-License-Identifier: MIT

#include "core/base/FRef.h"
#include "core/text/FGStr.h"
#include "core/text/FMStr.h"
#include "core/time/FTime.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

TEST(FRefDeathTest, AnEmptyHandleIsFatal) {
    // The report goes to standard output, which a death test does not see.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const FRef<std::vector<int>> empty;
    EXPECT_DEATH((dup2(2, 1), empty->clear()), "this->m_ptValue - File: .*FRef.h - Line: 534\n");
    EXPECT_DEATH((dup2(2, 1), empty[0] = 1), "this->m_ptValue - File: .*FRef.h - Line: 543\n");
}

TEST(FGStr, ReadsAndWritesNumbers) {
    FGStr<char> text(static_cast<const char*>(nullptr));
    text.appendValueOf(0, true);
    EXPECT_EQ(text, "");
    text.appendValueOf(std::int8_t{-128}).appendValueOf(std::uint8_t{255}).appendValueOf(0);
    text.appendValueOf(std::numeric_limits<std::int64_t>::min()).append(",");
    text.appendValueOf(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(text, "-1282550-9223372036854775808,18446744073709551615");

    FMStr<wchar_t> wide;
    EXPECT_EQ(wide.appendValueOf(7, 3).append(L'|').appendValueOf(12345, 3).token(), L"007|12345");
}

TEST(FTime, ReadsItsTextForms) {
    FTime time;
    EXPECT_EQ((time = L"2024-03-07T09:05:02").toCStringEx(), "2024-03-07T09:05:02.000");
    EXPECT_EQ((time = L"2024-03-07T09:05:02.045").toCStringEx(), "2024-03-07T09:05:02.045");
    for (const wchar_t* text :
         {L"0000-00-00T00:00:00", L"", static_cast<const wchar_t*>(nullptr), L"2024-03-07",
          L"2024-03-07T09:05", L"2024-03-07T09:05:02T", L"2024-03-07T09:05:02.", L"2024-03-07T09:05:02.45",
          L"2024-03-07 09:05:02", L"2024-03-x7T09:05:02", L"99999999999-03-07T09:05:02"}) {
        time.setNow();
        EXPECT_TRUE((time = text).isCleared()) << fNarrow(FGStr<wchar_t>(text));
    }
}

TEST(FTime, ConvertsToDatesOfWholeSeconds) {
    using namespace std::chrono;
    const auto date = DateWithFTime(FTime(2024, 2, 29, 23, 59, 58, 999));
    ASSERT_TRUE(date);
    EXPECT_EQ(duration_cast<seconds>(date->time_since_epoch()).count(), 1709251198);
    EXPECT_EQ(FTimeWithDate(*date + milliseconds(999)).toCStringEx(), "2024-02-29T23:59:58.000");
    EXPECT_EQ(FTimeWithDate(system_clock::time_point(milliseconds(-1))).toCString(), "1969-12-31T23:59:59");
    EXPECT_FALSE(DateWithFTime(FTime(false)));
    EXPECT_FALSE(DateWithFTime(FTime(2023, 2, 29, 0, 0, 0, 0)));
}

} // namespace
