// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/ControlCharacters.h"
#include "core/text/FGStr.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Kvs {

/// A typed value and its text form; integers are decimal. Immutable.
class TFValueBase {
public:
    explicit TFValueBase(std::uint32_t value) : value_(value) {}
    explicit TFValueBase(std::int32_t value) : value_(value) {}
    explicit TFValueBase(std::string value) : value_(std::move(value)) {}

    FGStr<char> toCString() const {
        if (const auto* text = std::get_if<std::string>(&value_)) {
            return FGStr<char>(*text);
        }
        const auto* number = std::get_if<std::uint32_t>(&value_);
        return FGStr<char>(number ? std::to_string(*number) : std::to_string(std::get<std::int32_t>(value_)));
    }

    /// Appends the text, with its control characters escaped, to a line that is being built.
    void appendTo(std::string& line) const { line += fControlCharactersEscaped(toCString().token()); }

private:
    std::variant<std::uint32_t, std::int32_t, std::string> value_;
};

/// The items of one log line. Built and used by one thread.
class FLogRecord {
public:
    FLogRecord& operator<<(std::uint32_t value) { return append(value); }
    FLogRecord& operator<<(std::int32_t value) { return append(value); }
    FLogRecord& operator<<(std::string text) { return append(std::move(text)); }
    FLogRecord& operator<<(std::string_view text) { return *this << std::string(text); }
    FLogRecord& operator<<(const FGStr<char>& text) { return *this << text.str(); }

    /// Adds an item; null gives an empty one.
    FLogRecord& operator<<(const char* text) { return *this << std::string_view(text ? text : ""); }

    std::size_t Count() const { return items_.size(); }
    const TFValueBase& itemAt(std::size_t index) const { return items_.at(index); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

private:
    template <class T>
    FLogRecord& append(T item) {
        items_.emplace_back(std::move(item));
        return *this;
    }

    std::vector<TFValueBase> items_;
};

} // namespace Kvs
