// SPDX-License-Identifier: MIT

#pragma once

#include "host/linux/helper-installer/TrustedFolder.h"

namespace kvn::host {

/// Installs helpers for an agent that does not have the right: carries out the commands that come on the
/// standard input (LinePipe.h), none of which is trusted, until the input ends. Changes this process's
/// environment and standard descriptors. Returns false if a command was malformed.
bool serveInstaller(Trust trust);

} // namespace kvn::host
