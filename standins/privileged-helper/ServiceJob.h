// SPDX-License-Identifier: MIT

#pragma once

#include "host/ProcessRunner.h"

#include <string>

namespace kvn::helper {

/// The result of a command: status 0, or another status and the reason.
struct Outcome {
    int status = 0;
    std::string details;
};

/// Starts the remote service as its job list describes it. Returns once the service accepts commands, at once
/// if it already does, and after 5 seconds at most. A thread that may block; one at a time.
Outcome startService(host::ProcessRunner& runner);

/// Ends the remote service, even if another program started it: asks it to end, and kills it 5 seconds later.
/// Returns once its process has ended. A thread that may block; one at a time.
Outcome stopService();

} // namespace kvn::helper
