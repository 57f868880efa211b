// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <variant>

namespace kvn::host {

/// Why no display can be used, in words for the user.
struct DisplayProblem {
    std::string text;
};

/// Looks for a display that takes connections, and for the toolkit's plug-in that connects to it. Returns the
/// plug-in's name. A display that does not answer within five seconds is none. The toolkit itself ends the
/// process in all these cases. Main thread.
std::variant<std::string, DisplayProblem> findDisplay();

} // namespace kvn::host
