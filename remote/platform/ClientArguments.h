#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvn {

/// Turns the service's parameter string into the client program's arguments: splits at white space
/// outside double quotes, which are kept, and rewrites the service's options
/// ("/sessionid:" and the like) into the client's own.
std::vector<std::string> clientArguments(std::string_view parameters);

} // namespace kvn
