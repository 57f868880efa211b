// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kvs {

/// An option that a program accepts. It is given alone, or the next argument is its value.
struct ProgramOption {
    std::string_view name; // with its dashes
    bool takesValue = false;
};

/// The options of a command line. The last one counts where one is given twice.
class ProgramOptions {
public:
    /// Throws std::invalid_argument with a text that names the argument that is wrong.
    ProgramOptions(int argc, const char* const* argv, const std::vector<ProgramOption>& known);

    bool has(const std::string& name) const { return given_.contains(name); }

    /// Returns nullopt for an option that is not given.
    std::optional<std::string> value(const std::string& name) const;

private:
    std::map<std::string, std::string> given_;
};

/// Runs a program: calls its body with its options and returns the exit status. The status is 2, and the
/// usage is printed, when the command line or the body throws std::invalid_argument; 1 when the body throws
/// another std::exception. "--help" is known in addition, and prints the usage. Main thread.
int fRunProgram(const char* name, const char* usage, int argc, const char* const* argv,
                std::vector<ProgramOption> known, const std::function<int(const ProgramOptions&)>& body);

} // namespace Kvs
