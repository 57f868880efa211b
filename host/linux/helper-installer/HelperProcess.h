#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"

#include <optional>
#include <string>

namespace kvn::host {

/// Ends all processes that run the file at the path, or the one that it replaced: SIGTERM, 3 seconds to end
/// in, SIGKILL. Nothing on success. A thread that may block.
std::optional<Error> endHelper(const std::string& tool);

/// Starts the helper and waits until it has made its socket, at most 2 seconds; one that takes longer is
/// left to its clients to find out. One that ends without is an error. Nothing on success. A thread that
/// may block.
std::optional<Error> startHelper(const std::string& tool, const std::string& identifier,
                                 ProcessRunner& runner);

} // namespace kvn::host
