#include "host/terminal/DialogControls.h"

#include "host/terminal/LocalMinute.h"

#include <filesystem>
#include <system_error>
#include <type_traits>

namespace kvn::host {

namespace {

template <class Control>
constexpr bool kTakesValue = std::is_same_v<Control, DialogCheckBox> ||
                             std::is_same_v<Control, DialogFolder> || std::is_same_v<Control, DialogDate>;

std::string answer(const char* result, const std::string& label, const std::string& text) {
    return std::string(result) + ": " + label + (label.ends_with(':') ? " " : ": ") + text;
}

/// The control's change to a value, which does nothing for one without a handler.
template <class Control, class Value>
Choice changed(const Control& control, const std::string& text, Value value) {
    return {answer("ok", control.label, text), [handler = control.onChange, value] {
                if (handler) {
                    handler(value);
                }
            }};
}

Choice change(const DialogCheckBox& box, const std::string& value) {
    if (value != "on" && value != "off") {
        return {answer("error", box.label, "set it to on or off"), nullptr};
    }
    return changed(box, value, value == "on");
}

Choice change(const DialogFolder& folder, const std::string& value) {
    std::error_code ignored;
    if (!value.starts_with('/') || !std::filesystem::is_directory(value, ignored)) {
        return {answer("error", folder.label, "set it to the whole path of a folder that exists"), nullptr};
    }
    return changed(folder, value, value);
}

Choice change(const DialogDate& date, const std::string& value) {
    const auto time = parseLocalMinute(value);
    if (!time) {
        return {answer("error", date.label, "set it to a local time, YYYY-MM-DD HH:MM"), nullptr};
    }
    return changed(date, value, *time);
}

} // namespace

bool isControl(const DialogRow& row) {
    return std::visit(
        []<class Row>(const Row&) { return kTakesValue<Row> || std::is_same_v<Row, DialogButton>; }, row);
}

const DialogRow* controlAt(const DialogRows& rows, std::size_t number) {
    for (const DialogRow& row : rows) {
        if (isControl(row) && --number == 0) {
            return &row;
        }
    }
    return nullptr;
}

Choice press(const DialogRow& control) {
    if (const auto* button = std::get_if<DialogButton>(&control)) {
        return {"ok: " + button->title, button->onPress};
    }
    if (const auto* box = std::get_if<DialogCheckBox>(&control)) {
        return setTo(control, box->checked ? "off" : "on");
    }
    return setTo(control, ""); // says what the control takes
}

Choice setTo(const DialogRow& control, const std::string& value) {
    return std::visit(
        [&]<class Row>(const Row& row) -> Choice {
            if constexpr (!kTakesValue<Row>) {
                return {"error: this takes no value", nullptr};
            } else if (!row.enabled) {
                return {answer("error", row.label, "is disabled"), nullptr};
            } else {
                return change(row, value);
            }
        },
        control);
}

} // namespace kvn::host
