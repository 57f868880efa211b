#pragma once

#include "host/UserInterface.h"

#include <optional>
#include <string>
#include <variant>

namespace kvn {

/// The options of the command line.
struct Options {
    std::string root;                       // empty: no root, the paths are the real ones
    std::optional<host::FrontEnd> frontEnd; // empty: a terminal where standard input is one
    bool version = false;
    bool help = false;
};

extern const char* const kUsage;

/// Returns the options, or the reason why they cannot be understood.
std::variant<Options, std::string> parseOptions(int argc, const char* const* argv);

} // namespace kvn
