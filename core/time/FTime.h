// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace Kvs {

/// A broken-down UTC time. Text form: 2024-03-07T09:05:02, and 2024-03-07T09:05:02.045 extended.
class FTime {
public:
    /// Makes the current time, or a cleared one.
    explicit FTime(bool now = false);

    /// Fields out of range are replaced: a year outside 1600 to 3000 by 1970, a month outside 1 to 12
    /// or a day outside 1 to 31 by 1, an hour, minute or second by 0; milliseconds are at most 999.
    FTime(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second,
          unsigned milliseconds);

    /// Reads the text form, with or without the milliseconds; any other shape clears the time.
    FTime& operator=(const char* text);
    FTime& operator=(const wchar_t* text);
    FTime& operator=(const FGStr<wchar_t>& text);

    void setNow();

    /// Returns true if all fields are 0.
    bool isCleared() const;

    unsigned Year() const { return year_; }
    unsigned Month() const { return month_; }
    unsigned Day() const { return day_; }
    unsigned Hour() const { return hour_; }
    unsigned Minute() const { return minute_; }
    unsigned Second() const { return second_; }

    FGStr<char> toCString() const;
    FGStr<wchar_t> toWString() const;
    FGStr<char> toCStringEx() const;
    FGStr<wchar_t> toWStringEx() const;
    operator FGStr<char>() const { return toCString(); }
    operator FGStr<wchar_t>() const { return toWString(); }

private:
    std::uint16_t milliseconds_ = 0;
    std::uint8_t second_ = 0;
    std::uint8_t minute_ = 0;
    std::uint8_t hour_ = 0;
    std::uint8_t day_ = 0;
    std::uint8_t month_ = 0;
    std::uint16_t year_ = 0;
};

/// Converts a date to whole seconds of UTC; the milliseconds are 0.
FTime FTimeWithDate(std::chrono::system_clock::time_point date);

/// Converts a time to whole seconds of UTC. Returns nullopt for a time that is not a date, such as a cleared
/// one.
std::optional<std::chrono::system_clock::time_point> DateWithFTime(const FTime& time);

} // namespace Kvs
