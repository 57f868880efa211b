#include "host/terminal/LocalMinute.h"

#include <charconv>
#include <ctime>

namespace kvn::host {

using std::chrono::system_clock;

std::string localMinuteText(system_clock::time_point time) {
    // Rounded down, where to_time_t may round a time before 1970 up.
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t stamp = system_clock::to_time_t(seconds);
    std::tm local{};
    char text[32];
    if (!localtime_r(&stamp, &local) || !std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local)) {
        return {};
    }
    return text;
}

std::optional<system_clock::time_point> parseLocalMinute(const std::string& text) {
    const auto number = [&](std::size_t begin, std::size_t end) {
        int value = 0;
        if (end <= text.size()) {
            std::from_chars(text.data() + begin, text.data() + end, value);
        }
        return value;
    };
    std::tm local{};
    local.tm_year = number(0, 4) - 1900;
    local.tm_mon = number(5, 7) - 1;
    local.tm_mday = number(8, 10);
    local.tm_hour = number(11, 13);
    local.tm_min = number(14, 16);
    local.tm_isdst = -1;
    const std::time_t stamp = std::mktime(&local);
    const auto last = std::chrono::floor<std::chrono::seconds>(system_clock::time_point::max());
    if (stamp < 0 || std::chrono::seconds(stamp) > last.time_since_epoch()) {
        return std::nullopt;
    }
    // Whatever was misread, or moved to a time that exists, reads differently now.
    const auto time = system_clock::from_time_t(stamp);
    return localMinuteText(time) == text ? std::optional(time) : std::nullopt;
}

} // namespace kvn::host
