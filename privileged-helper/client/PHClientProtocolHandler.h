// SPDX-License-Identifier: MIT

#pragma once

#include "host/Sleeper.h"
#include "privileged-helper/shared/PHProtocolHandler.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kvn {

/// The agent's end of the connection: opens the helper's socket and makes the requests that wait for their
/// answer. These requests block. Meanwhile no event thread may read and no delegate may be set.
class PHClientProtocolHandler : public PHProtocolHandler {
public:
    PHClientProtocolHandler(Kvs::FileDescriptor connection, bool trace, host::Sleeper& sleeper)
        : PHProtocolHandler(std::move(connection), trace), sleeper_(sleeper) {}

    /// Connects to "/var/run/ID.socket", with three attempts that are a second apart, and asks for the
    /// helper's version. The process that listens there must be root's; below another root it may be the
    /// user's own. Returns nullopt when no helper could be reached, or when its whole answer did not arrive
    /// within 2 seconds; a helper that answered without a version stays connected. Blocks.
    std::optional<std::string> connectPrivilegedAgent(const std::string& bundleIdentifier);

    /// Asks the helper for its version.
    std::optional<std::string> getAgentVersion();

    /// Tells the helper to uninstall itself and returns its status. Waits at most 10 seconds for an answer.
    std::optional<std::int32_t> uninstallAgent();

private:
    host::Sleeper& sleeper_;
};

} // namespace kvn
