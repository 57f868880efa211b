// SPDX-License-Identifier: MIT

#include "agent/Options.h"

#include "core/system/ProgramOptions.h"

#include <stdexcept>

namespace kvn {

const char* const kUsage =
    "usage: KvnGUIAgent [--root DIR] [--ui terminal|none] [--version] [--help]\n"
    "\n"
    "  --root DIR   a folder used in place of / in every fixed path\n"
    "  --ui MODE    terminal: shows the status and takes commands; none: runs until SIGTERM\n"
    "               (default: terminal where standard input is one, else none)\n";

std::variant<Options, std::string> parseOptions(int argc, const char* const* argv) try {
    const Kvs::ProgramOptions given(argc, argv,
                                    {{"--root", true}, {"--ui", true}, {"--version"}, {"--help"}});
    Options options;
    options.version = given.has("--version");
    options.help = given.has("--help");
    if (given.value("--root") == "") {
        return "--root needs a folder";
    }
    options.root = given.value("--root").value_or("");
    if (const auto mode = given.value("--ui"); mode == "terminal") {
        options.frontEnd = host::FrontEnd::Terminal;
    } else if (mode == "none") {
        options.frontEnd = host::FrontEnd::None;
    } else if (mode) {
        return "--ui takes terminal or none, not " + *mode;
    }
    return options;
} catch (const std::invalid_argument& error) {
    return error.what();
}

} // namespace kvn
