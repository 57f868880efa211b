// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvn {

/// A message between agent and privileged helper, or a value in one: a JSON value. It never changes, so
/// copies share it, and any thread may read it. A message is an object, but a hostile peer may send an array.
class PHMessage {
public:
    struct Member;

    PHMessage() = default; ///< null
    PHMessage(const char* text);
    PHMessage(const std::string& text);
    PHMessage(int number);
    PHMessage(std::uint64_t number);
    PHMessage(const std::vector<std::string>& texts);
    /// Makes an object. A member without a value is left out.
    PHMessage(std::initializer_list<Member> members);

    /// Throws std::exception with the reason when the text is not one JSON value in UTF-8.
    static PHMessage parse(std::string_view text);

    /// Returns the JSON text to send. Throws std::exception with the reason when a string is not UTF-8.
    std::string serialize() const;
    /// Returns the JSON text to display, with U+FFFD in place of bytes that are not UTF-8.
    std::string text() const;

    bool isNull() const;
    /// Returns true for an object or an array.
    bool isStructured() const;

    /// Returns true if this is an object with such a member, even one that is null.
    bool contains(std::string_view key) const;
    /// Returns the member's value; null when this is not an object or has no such member.
    PHMessage valueIn(std::string_view key) const;

    // These return the value; nullopt when it has another type.
    std::optional<std::string> asString() const;
    /// Accepts a number, which is cut to a whole number of 32 bits.
    std::optional<std::int32_t> asInteger() const;
    /// Accepts a whole number that is not negative, however it is written.
    std::optional<std::uint64_t> asIdentifier() const;
    /// Accepts an array of strings.
    std::optional<std::vector<std::string>> asStrings() const;

private:
    using Value = std::shared_ptr<const nlohmann::json>;

    explicit PHMessage(Value value) : value_(std::move(value)) {}
    const nlohmann::json& value() const;

    Value value_; // empty: null
};

struct PHMessage::Member {
    const char* key;
    std::optional<PHMessage> value;
};

/// Returns the string under the key, or nullopt.
std::optional<std::string> stringIn(const PHMessage& message, std::string_view key);

/// Returns the number under the key, cut to a whole number of 32 bits, or nullopt.
std::optional<std::int32_t> integerIn(const PHMessage& message, std::string_view key);

} // namespace kvn
