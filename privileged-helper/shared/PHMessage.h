#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kvn {

/// A message between agent and privileged helper: a JSON object (a hostile peer may send an array).
using PHMessage = nlohmann::json;

/// The text under the key; nothing when the message has none there.
std::optional<std::string> stringIn(const PHMessage& message, std::string_view key);

/// The number under the key, cut to a whole one of 32 bits; nothing when the message has none there.
std::optional<std::int32_t> integerIn(const PHMessage& message, std::string_view key);

} // namespace kvn
