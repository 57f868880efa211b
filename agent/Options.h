#pragma once

#include <optional>
#include <string>
#include <variant>

namespace kvn {

enum class FrontEnd { None, Terminal };

/// What the command line asks for.
struct Options {
    std::string root;                 // empty: the real file system
    std::optional<FrontEnd> frontEnd; // empty: chosen by what standard input is
    bool version = false;
    bool help = false;
};

extern const char* const kUsage;

/// The options, or what is wrong with them.
std::variant<Options, std::string> parseOptions(int argc, const char* const* argv);

} // namespace kvn
