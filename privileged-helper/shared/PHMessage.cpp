#include "privileged-helper/shared/PHMessage.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

namespace kvn {
namespace {

template <class Number>
std::int32_t cut(Number number) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<Number>(number, Limits::min(), Limits::max()));
}

} // namespace

std::optional<std::string> stringIn(const PHMessage& message, std::string_view key) {
    const auto found = message.find(key);
    if (found == message.end() || !found->is_string()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

std::optional<std::int32_t> integerIn(const PHMessage& message, std::string_view key) {
    const auto found = message.find(key);
    if (found == message.end() || !found->is_number()) {
        return std::nullopt;
    }
    // Far numbers are kept far: a failure's code must not become 0.
    return found->is_number_integer() && !found->is_number_unsigned() ? cut(found->get<std::int64_t>())
                                                                      : cut(found->get<double>());
}

} // namespace kvn
