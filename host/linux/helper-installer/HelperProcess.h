#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"

#include <optional>
#include <string>

namespace kvn::host {

/// Ends all processes that run the file at the path, or the one that it replaced: SIGTERM, 3 seconds to end
/// in unless the descriptor `interruption` is readable, SIGKILL. Nothing on success. A thread that may block.
std::optional<Error> endHelper(const std::string& tool, int interruption = -1);

/// Starts the helper and waits until it has made its socket, at most 2 seconds and not once `interruption` is
/// readable; one that takes longer is left to its clients to find out. One that ends without is an error.
/// Nothing on success. A thread that may block.
std::optional<Error> startHelper(const std::string& tool, const std::string& identifier,
                                 ProcessRunner& runner, int interruption);

} // namespace kvn::host
