// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kvn::host {

/// A value of a property list. Dictionaries keep their keys sorted.
struct PropertyValue {
    using Data = std::vector<std::uint8_t>;
    /// Whole seconds, as the format has them; their range covers the years 1 to 9999.
    using Date = std::chrono::sys_seconds;
    using Array = std::vector<PropertyValue>;
    using Dictionary = std::map<std::string, PropertyValue, std::less<>>;

    std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Data, Date, Array, Dictionary> value;

    template <class T>
    const T* as() const {
        return std::get_if<T>(&value);
    }
    bool operator==(const PropertyValue&) const = default;
};

/// Reads property lists in their XML and binary forms, and writes the XML form. A list above the limits, or
/// with text that the XML form cannot hold (control characters, broken UTF-8), is an error in either
/// direction: `parse` reads all that `write` returns. What follows a whole XML document is ignored. Any
/// thread.
class PropertyList {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{4} << 20;
    static constexpr std::size_t kMaxDepth = 256;

    virtual ~PropertyList() = default;
    virtual std::variant<PropertyValue, Error> parse(std::string_view bytes) const = 0;
    virtual std::variant<std::string, Error> write(const PropertyValue& value) const = 0;
};

} // namespace kvn::host
