// SPDX-License-Identifier: MIT

#include "core/time/FTime.h"

#include "core/text/FMStr.h"

#include <charconv>
#include <ctime>
#include <optional>
#include <string_view>
#include <sys/time.h>

namespace Kvs {

FTime::FTime(bool now) {
    if (now) {
        setNow();
    }
}

FTime::FTime(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second,
             unsigned milliseconds)
    : milliseconds_(static_cast<std::uint16_t>(milliseconds >= 999 ? 999 : milliseconds)),
      second_(static_cast<std::uint8_t>(second >= 60 ? 0 : second)),
      minute_(static_cast<std::uint8_t>(minute >= 60 ? 0 : minute)),
      hour_(static_cast<std::uint8_t>(hour >= 24 ? 0 : hour)),
      day_(static_cast<std::uint8_t>(day < 1 || day > 31 ? 1 : day)),
      month_(static_cast<std::uint8_t>(month < 1 || month > 12 ? 1 : month)),
      year_(static_cast<std::uint16_t>(year < 1600 || year > 3000 ? 1970 : year)) {}

void FTime::setNow() {
    timeval now{};
    gettimeofday(&now, nullptr);
    std::tm fields{};
    gmtime_r(&now.tv_sec, &fields);
    milliseconds_ = static_cast<std::uint16_t>(now.tv_usec / 1000);
    second_ = static_cast<std::uint8_t>(fields.tm_sec);
    minute_ = static_cast<std::uint8_t>(fields.tm_min);
    hour_ = static_cast<std::uint8_t>(fields.tm_hour);
    day_ = static_cast<std::uint8_t>(fields.tm_mday);
    month_ = static_cast<std::uint8_t>(fields.tm_mon + 1);
    year_ = static_cast<std::uint16_t>(fields.tm_year + 1900);
}

bool FTime::isCleared() const {
    return !milliseconds_ && !second_ && !minute_ && !hour_ && !day_ && !month_ && !year_;
}

namespace {

/// Takes decimal digits and, unless it is '\0', the separator behind them off the text.
std::optional<unsigned> takeNumber(std::string_view& text, char separator) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{}) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (separator != '\0') {
        if (text.empty() || text.front() != separator) {
            return std::nullopt;
        }
        text.remove_prefix(1);
    }
    return value;
}

} // namespace

FTime& FTime::operator=(const char* text) {
    *this = FTime(false);
    std::string_view rest = text ? text : "";
    const auto year = takeNumber(rest, '-');
    const auto month = takeNumber(rest, '-');
    const auto day = takeNumber(rest, 'T');
    const auto hour = takeNumber(rest, ':');
    const auto minute = takeNumber(rest, ':');
    const auto second = takeNumber(rest, '\0');
    std::optional<unsigned> milliseconds = 0U;
    if (!rest.empty()) {
        const bool threeDigits = rest.size() == 4 && rest.front() == '.';
        rest.remove_prefix(1);
        milliseconds = threeDigits ? takeNumber(rest, '\0') : std::nullopt;
    }
    const bool wellFormed = year && month && day && hour && minute && second && milliseconds && rest.empty();
    const bool zero =
        wellFormed && !*year && !*month && !*day && !*hour && !*minute && !*second && !*milliseconds;
    if (wellFormed && !zero) {
        *this = FTime(*year, *month, *day, *hour, *minute, *second, *milliseconds);
    }
    return *this;
}

FTime& FTime::operator=(const wchar_t* text) {
    return *this = fNarrow(text ? FStrToken<wchar_t>(text) : FStrToken<wchar_t>()).c_str();
}

FTime& FTime::operator=(const FGStr<wchar_t>& text) { return *this = text.c_str(); }

FGStr<char> FTime::toCString() const {
    FMStr<char> text;
    text.appendValueOf(year_, 4).append('-').appendValueOf(month_, 2).append('-').appendValueOf(day_, 2);
    text.append('T').appendValueOf(hour_, 2).append(':').appendValueOf(minute_, 2).append(':');
    text.appendValueOf(second_, 2);
    return FGStr<char>(text.token());
}

FGStr<char> FTime::toCStringEx() const {
    FMStr<char> text;
    text.append(toCString().token()).append('.').appendValueOf(milliseconds_, 3);
    return FGStr<char>(text.token());
}

FGStr<wchar_t> FTime::toWString() const { return fWiden(toCString().token()); }

FGStr<wchar_t> FTime::toWStringEx() const { return fWiden(toCStringEx().token()); }

FTime FTimeWithDate(std::chrono::system_clock::time_point date) {
    using namespace std::chrono;
    const auto second = floor<seconds>(date);
    const auto midnight = floor<days>(second);
    const year_month_day day(midnight);
    const hh_mm_ss clock(second - midnight);
    return FTime(static_cast<unsigned>(static_cast<int>(day.year())), static_cast<unsigned>(day.month()),
                 static_cast<unsigned>(day.day()), static_cast<unsigned>(clock.hours().count()),
                 static_cast<unsigned>(clock.minutes().count()),
                 static_cast<unsigned>(clock.seconds().count()), 0);
}

std::optional<std::chrono::system_clock::time_point> DateWithFTime(const FTime& time) {
    using namespace std::chrono;
    const year_month_day date(year(static_cast<int>(time.Year())), month(time.Month()), day(time.Day()));
    if (!date.ok()) {
        return std::nullopt;
    }
    const sys_seconds second =
        sys_days(date) + hours(time.Hour()) + minutes(time.Minute()) + seconds(time.Second());
    // A clock that counts nanoseconds has a smaller range than FTime.
    if (second < ceil<seconds>(system_clock::time_point::min()) ||
        second > floor<seconds>(system_clock::time_point::max())) {
        return std::nullopt;
    }
    return second;
}

} // namespace Kvs
