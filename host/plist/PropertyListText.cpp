// SPDX-License-Identifier: MIT

#include "host/plist/PropertyListText.h"

#include "core/text/TextFunctions.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

namespace kvn::host {

namespace {

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Removes a leading "+" or "-". Returns true if it was "-".
bool takeSign(std::string_view& text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return negative;
}

template <class T>
std::optional<T> wholeNumber(std::string_view text, int base) {
    T value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<PropertyValue> integerFromText(std::string_view text) {
    text = Kvs::fTrimmed(text);
    const bool negative = takeSign(text);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    const auto magnitude = wholeNumber<std::uint64_t>(text, base);
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!magnitude || (negative && *magnitude > kLargest + 1)) {
        return std::nullopt;
    }
    if (negative) {
        return PropertyValue{static_cast<std::int64_t>(0 - *magnitude)};
    }
    if (*magnitude <= kLargest) {
        return PropertyValue{static_cast<std::int64_t>(*magnitude)};
    }
    return PropertyValue{*magnitude};
}

std::optional<double> realFromText(std::string_view text) {
    text = Kvs::fTrimmed(text);
    double value = 0;
    if (!text.empty() && Kvs::fReadDouble(text, value) == text.size()) {
        return value;
    }
    const bool negative = takeSign(text);
    const std::string word = Kvs::fLowerAscii(std::string(text));
    if (word == "inf" || word == "infinity") {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return negative ? -kInfinity : kInfinity;
    }
    return word == "nan" ? std::optional(std::numeric_limits<double>::quiet_NaN()) : std::nullopt;
}

std::string textOfReal(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-infinity" : "+infinity";
    }
    return Kvs::fTextOfDouble(value, std::numeric_limits<double>::max_digits10);
}

std::optional<PropertyValue::Date> dateFromText(std::string_view text) {
    constexpr std::string_view kShape = "0000-00-00T00:00:00Z";
    text = Kvs::fTrimmed(text);
    if (text.size() != kShape.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < kShape.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (kShape[i] == '0' ? !digit : text[i] != kShape[i]) {
            return std::nullopt;
        }
    }
    const auto field = [text](std::size_t at, std::size_t length) {
        return wholeNumber<int>(text.substr(at, length), 10).value_or(0);
    };
    const std::chrono::year_month_day day(std::chrono::year(field(0, 4)),
                                          std::chrono::month(static_cast<unsigned>(field(5, 2))),
                                          std::chrono::day(static_cast<unsigned>(field(8, 2))));
    const int hour = field(11, 2);
    const int minute = field(14, 2);
    const int second = field(17, 2);
    if (!day.ok() || field(0, 4) == 0 || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return std::chrono::sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
           std::chrono::seconds(second);
}

std::optional<std::string> textOfDate(PropertyValue::Date date) {
    constexpr auto kFirst = std::chrono::sys_days(std::chrono::year(1) / 1 / 1);
    constexpr auto kEnd = std::chrono::sys_days(std::chrono::year(10000) / 1 / 1);
    if (date < kFirst || date >= kEnd) {
        return std::nullopt;
    }
    const auto midnight = std::chrono::floor<std::chrono::days>(date);
    const std::chrono::year_month_day day(midnight);
    const int seconds = static_cast<int>((date - midnight).count());
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), seconds / 3600,
                  seconds / 60 % 60, seconds % 60);
    return text;
}

std::optional<PropertyValue::Data> dataFromText(std::string_view text) {
    PropertyValue::Data data;
    std::uint32_t bits = 0;
    unsigned digits = 0;
    unsigned padding = 0;
    for (const char c : text) {
        if (Kvs::kBlanks.find(c) != Kvs::kBlanks.npos) {
            continue;
        }
        const auto digit = kBase64.find(c);
        if (c == '=' ? ++padding > 2 : (digit == kBase64.npos || padding > 0)) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(c == '=' ? 0 : digit);
        if (++digits % 4 == 0) {
            for (const unsigned shift : {16U, 8U, 0U}) {
                data.push_back(static_cast<std::uint8_t>(bits >> shift));
            }
        }
    }
    if (digits % 4 != 0) {
        return std::nullopt;
    }
    data.resize(data.size() - padding);
    return data;
}

std::string textOfData(const PropertyValue::Data& data) {
    std::string text;
    for (std::size_t at = 0; at < data.size(); at += 3) {
        std::uint32_t bits = 0;
        for (std::size_t i = at; i < at + 3; ++i) {
            bits = bits << 8 | (i < data.size() ? data[i] : 0U);
        }
        for (const unsigned shift : {18U, 12U, 6U, 0U}) {
            text += kBase64[bits >> shift & 0x3F];
        }
    }
    for (std::size_t i = text.size() - (3 - data.size() % 3) % 3; i < text.size(); ++i) {
        text[i] = '=';
    }
    return text;
}

} // namespace kvn::host
