// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"

#include <optional>
#include <string>

namespace kvn::host {

/// Ends all processes that run the file at the path, or the file that it replaced: sends SIGTERM, waits up to
/// 3 seconds, and then sends SIGKILL. Gives up with ECANCELED once the descriptor `interruption` is readable.
/// Returns nullopt on success. Any thread that may block.
std::optional<Error> endHelper(const std::string& tool, int interruption = -1);

/// Starts the installed helper, through systemd if it has a unit there, and waits until it has made its
/// socket, at most 2 seconds and not once `interruption` is readable. A helper that takes longer counts as
/// started; a helper that ends before that is an error. Returns nullopt on success. Any thread that may
/// block.
std::optional<Error> startHelper(const std::string& label, ProcessRunner& runner, int interruption);

} // namespace kvn::host
