// SPDX-License-Identifier: MIT

#pragma once

#include "agent/DialogRequests.h"
#include "host/UserInterface.h"

#include <optional>
#include <string>
#include <variant>

namespace kvn {

/// The options of the command line.
struct Options {
    std::string root;                       // empty without a root: the paths are used as they are
    std::optional<host::FrontEnd> frontEnd; // empty: the system's default
    std::optional<RequestedDialog> show;
    bool version = false;
    bool help = false;
};

extern const char* const kUsage;

/// Returns the options, or the reason why they cannot be understood.
std::variant<Options, std::string> parseOptions(int argc, const char* const* argv);

} // namespace kvn
