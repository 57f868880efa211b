// SPDX-License-Identifier: MIT

#include "privileged-helper/shared/PHMessage.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kvn {
namespace {

using nlohmann::json;

template <class Number>
std::int32_t cut(Number number) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<Number>(number, Limits::min(), Limits::max()));
}

} // namespace

PHMessage::PHMessage(const char* text) : value_(std::make_shared<json>(text)) {}
PHMessage::PHMessage(const std::string& text) : value_(std::make_shared<json>(text)) {}
PHMessage::PHMessage(int number) : value_(std::make_shared<json>(number)) {}
PHMessage::PHMessage(std::uint64_t number) : value_(std::make_shared<json>(number)) {}
PHMessage::PHMessage(const std::vector<std::string>& texts) : value_(std::make_shared<json>(texts)) {}

PHMessage::PHMessage(std::initializer_list<Member> members) {
    json object = json::object();
    for (const Member& member : members) {
        if (member.value) {
            object[member.key] = member.value->value();
        }
    }
    value_ = std::make_shared<json>(std::move(object));
}

PHMessage PHMessage::parse(std::string_view text) {
    if (text.find('\0') != text.npos) {
        throw std::invalid_argument("NUL in the text"); // which the parser takes for the end
    }
    return PHMessage(std::make_shared<json>(json::parse(text)));
}

const json& PHMessage::value() const {
    static const json null;
    return value_ ? *value_ : null;
}

std::string PHMessage::serialize() const { return value().dump(); }

std::string PHMessage::text() const { return value().dump(-1, ' ', false, json::error_handler_t::replace); }

bool PHMessage::isNull() const { return value().is_null(); }

bool PHMessage::isStructured() const { return value().is_structured(); }

bool PHMessage::contains(std::string_view key) const { return value().contains(key); }

PHMessage PHMessage::valueIn(std::string_view key) const {
    const auto found = value().find(key); // an array has no keys
    return found == value().end() ? PHMessage() : PHMessage(Value(value_, &*found));
}

std::optional<std::string> PHMessage::asString() const {
    return value().is_string() ? std::optional(value().get<std::string>()) : std::nullopt;
}

std::optional<std::int32_t> PHMessage::asInteger() const {
    const auto& number = value();
    if (!number.is_number()) {
        return std::nullopt;
    }
    // A number out of range becomes the nearest limit: the code of a failure must not become 0.
    return number.is_number_integer() && !number.is_number_unsigned() ? cut(number.get<std::int64_t>())
                                                                      : cut(number.get<double>());
}

std::optional<std::uint64_t> PHMessage::asIdentifier() const {
    constexpr double kExact =
        9007199254740992.0; // 2^53: up to here, no two whole numbers are the same double
    const auto& number = value();
    if (number.is_number_float()) { // JSON has one kind of number: 1.0 and 1 are the same
        const double real = number.get<double>();
        const bool whole = real >= 0 && real <= kExact && std::trunc(real) == real;
        return whole ? std::optional(static_cast<std::uint64_t>(real)) : std::nullopt;
    }
    return number.is_number_unsigned() ? std::optional(number.get<std::uint64_t>()) : std::nullopt;
}

std::optional<std::vector<std::string>> PHMessage::asStrings() const {
    const auto isString = [](const auto& value) { return value.is_string(); };
    const bool fits = value().is_array() && std::all_of(value().begin(), value().end(), isString);
    return fits ? std::optional(value().get<std::vector<std::string>>()) : std::nullopt;
}

std::optional<std::string> stringIn(const PHMessage& message, std::string_view key) {
    return message.valueIn(key).asString();
}

std::optional<std::int32_t> integerIn(const PHMessage& message, std::string_view key) {
    return message.valueIn(key).asInteger();
}

} // namespace kvn
