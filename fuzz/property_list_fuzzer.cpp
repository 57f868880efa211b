// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "host/plist/PortablePropertyList.h"

using kvn::fuzz::require;

/// Takes the bytes as a property list.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kvn::host;
    const PortablePropertyList lists;
    const auto read = lists.parse(kvn::fuzz::textOf(data, size));
    if (const auto* error = std::get_if<Error>(&read)) {
        require(!error->reason.empty(), "an error without a reason");
        return 0;
    }
    const auto& value = std::get<PropertyValue>(read);
    const auto written = lists.write(value);
    if (const auto* bytes = std::get_if<std::string>(&written)) {
        const auto again = lists.parse(*bytes);
        require(std::holds_alternative<PropertyValue>(again), "a written list does not load");
        const auto twice = lists.write(std::get<PropertyValue>(again));
        require(std::get<std::string>(twice) == *bytes, "a value does not come back");
    }
    return 0;
}
