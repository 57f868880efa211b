// SPDX-License-Identifier: MIT

#include "host/terminal/DialogControls.h"

#include <charconv>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <type_traits>

namespace kvn::host {

namespace {

using std::chrono::system_clock;

template <class Control>
constexpr bool kTakesValue = std::is_same_v<Control, DialogCheckBox> ||
                             std::is_same_v<Control, DialogFolder> || std::is_same_v<Control, DialogDate>;

std::string answer(const char* result, const std::string& label, const std::string& text) {
    return std::string(result) + ": " + label + (endsInColon(label) ? " " : ": ") + text;
}

/// Returns the choice that changes the control to a value. Without a handler there is only the answer.
template <class Control, class Value>
Choice changed(const Control& control, const std::string& label, const std::string& text, Value value) {
    return {answer("ok", label, text), [handler = control.onChange, value] {
                if (handler) {
                    handler(value);
                }
            }};
}

Choice change(const DialogCheckBox& box, const std::string& label, const std::string& value) {
    if (value != "on" && value != "off") {
        return {answer("error", label, "set it to on or off"), nullptr};
    }
    return changed(box, label, value, value == "on");
}

Choice change(const DialogFolder& folder, const std::string& label, const std::string& value) {
    std::error_code ignored;
    const auto found = std::filesystem::status(value, ignored);
    if (!value.starts_with('/') ||
        (std::filesystem::exists(found) && !std::filesystem::is_directory(found))) {
        return {answer("error", label, "set it to the whole path of a folder"), nullptr};
    }
    return changed(folder, label, value, value);
}

Choice change(const DialogDate& date, const std::string& label, const std::string& value) {
    const auto time = parseLocalMinute(value);
    if (!time) {
        return {answer("error", label, "set it to a local time, YYYY-MM-DD HH:MM"), nullptr};
    }
    return changed(date, label, value, *time);
}

} // namespace

bool hasNumber(const DialogLine& line) {
    return std::visit(
        []<class Control>(const Control&) {
            return kTakesValue<Control> || std::is_same_v<Control, DialogButton>;
        },
        line.control);
}

std::string nameOf(const DialogLine& line) {
    if (const auto* button = std::get_if<DialogButton>(&line.control)) {
        return button->title;
    }
    const auto* box = std::get_if<DialogCheckBox>(&line.control);
    return box ? box->label : line.text;
}

bool endsInColon(std::string_view label) {
    return label.ends_with(':') || label.ends_with("\uFF1A"); // the full-width one
}

const DialogLine* numberedLine(const DialogLines& lines, std::size_t number) {
    for (const DialogLine& line : lines) {
        if (hasNumber(line) && --number == 0) {
            return &line;
        }
    }
    return nullptr;
}

Choice press(const DialogLine& line) {
    if (const auto* button = std::get_if<DialogButton>(&line.control)) {
        return {"ok: " + nameOf(line), button->onPress};
    }
    if (const auto* box = std::get_if<DialogCheckBox>(&line.control)) {
        return setTo(line, box->checked ? "off" : "on");
    }
    return setTo(line, ""); // the answer names the possible values
}

Choice setTo(const DialogLine& line, const std::string& value) {
    const std::string label = nameOf(line);
    return std::visit(
        [&]<class Control>(const Control& control) -> Choice {
            if constexpr (!kTakesValue<Control>) {
                return {"error: this takes no value", nullptr};
            } else if (!control.enabled) {
                return {answer("error", label, "is disabled"), nullptr};
            } else {
                return change(control, label, value);
            }
        },
        line.control);
}

std::string localMinuteText(system_clock::time_point time) {
    // The time is rounded down; to_time_t may round a time before 1970 up.
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
    // If the text was read wrongly, or was moved to a time that exists, it differs from the text of that
    // time.
    const auto time = system_clock::from_time_t(stamp);
    return localMinuteText(time) == text ? std::optional(time) : std::nullopt;
}

} // namespace kvn::host
