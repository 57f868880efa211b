// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/ProcessRunner.h"

#include <string>
#include <sys/types.h>
#include <variant>

namespace kvn::host {

// The unit with which systemd starts an installed helper again after it has ended and when the system starts.

/// Returns true if systemd manages this system.
bool hasSystemd();

/// Returns true if systemd manages this system and the helper has a unit.
bool hasUnit(const std::string& label);

/// Returns the path of a helper's unit.
std::string unitPath(const std::string& label);

/// Returns the unit's text. Without the helper's program systemd leaves the unit alone, so a helper that
/// uninstalls itself may leave the unit behind.
std::string unitText(const std::string& label);

/// Makes systemd end the helper and not start it again until `startUnit`. Harmless without a unit. Any thread
/// that may block.
void stopUnit(const std::string& label, ProcessRunner& runner);

/// Makes systemd read the unit and start the helper, now and whenever the system starts. Returns the helper's
/// process, 0 if it has ended already. Any thread that may block.
std::variant<pid_t, Error> startUnit(const std::string& label, ProcessRunner& runner);

/// Makes systemd forget a unit whose file is about to be removed. Any thread that may block.
void disableUnit(const std::string& label, ProcessRunner& runner);

} // namespace kvn::host
