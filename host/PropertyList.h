#pragma once

#include "host/Error.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kvn::host {

/// A value of a property list. Dictionaries keep their keys sorted.
struct PropertyValue {
    using Data = std::vector<std::uint8_t>;
    using Date = std::chrono::system_clock::time_point;
    using Array = std::vector<PropertyValue>;
    using Dictionary = std::map<std::string, PropertyValue, std::less<>>;

    std::variant<bool, std::int64_t, std::uint64_t, double, std::string, Data, Date, Array, Dictionary> value;

    template <class T>
    const T* as() const {
        return std::get_if<T>(&value);
    }
    bool operator==(const PropertyValue&) const = default;
};

/// Reads and writes property lists in their XML form; reading accepts no more nesting than a sane list
/// has. Any thread.
class PropertyList {
public:
    virtual ~PropertyList() = default;
    virtual std::variant<PropertyValue, Error> parse(std::string_view bytes) const = 0;
    virtual std::variant<std::string, Error> write(const PropertyValue& value) const = 0;
};

} // namespace kvn::host
