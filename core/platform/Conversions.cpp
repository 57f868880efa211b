#include "core/platform/Conversions.h"

namespace Kvs {

using namespace std::chrono;

FTime FTimeWithDate(system_clock::time_point date) {
    const auto second = floor<seconds>(date);
    const auto midnight = floor<days>(second);
    const year_month_day day(midnight);
    const hh_mm_ss clock(second - midnight);
    return FTime(static_cast<unsigned>(static_cast<int>(day.year())), static_cast<unsigned>(day.month()),
                 static_cast<unsigned>(day.day()), static_cast<unsigned>(clock.hours().count()),
                 static_cast<unsigned>(clock.minutes().count()),
                 static_cast<unsigned>(clock.seconds().count()), 0);
}

std::optional<system_clock::time_point> DateWithFTime(const FTime& time) {
    const year_month_day day(year(static_cast<int>(time.Year())), month(time.Month()),
                             std::chrono::day(time.Day()));
    if (!day.ok()) {
        return std::nullopt;
    }
    const sys_seconds second =
        sys_days(day) + hours(time.Hour()) + minutes(time.Minute()) + seconds(time.Second());
    // A clock that counts nanoseconds does not reach as far as FTime does.
    if (second < ceil<seconds>(system_clock::time_point::min()) ||
        second > floor<seconds>(system_clock::time_point::max())) {
        return std::nullopt;
    }
    return second;
}

} // namespace Kvs
