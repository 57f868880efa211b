// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvn {

/// Turns the service's parameter string into the client program's arguments: splits it at white space outside
/// double quotes, keeps the quotes, and replaces the service's option names ("/sessionid:" and others) by the
/// client's.
std::vector<std::string> clientArguments(std::string_view parameters);

} // namespace kvn
