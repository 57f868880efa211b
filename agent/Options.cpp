// SPDX-License-Identifier: MIT

#include "agent/Options.h"

#include "core/system/ProgramOptions.h"

#include <map>
#include <stdexcept>

namespace kvn {

const char* const kUsage =
    "usage: KvnGUIAgent [--root DIR] [--ui desktop|terminal|none] [--show settings|status]\n"
    "                   [--version] [--help]\n"
    "\n"
    "  --root DIR   a folder used in place of / in every fixed path\n"
    "  --ui MODE    desktop: a status item with a menu; terminal: shows the status and takes\n"
    "               commands; none: runs until SIGTERM (default: desktop where one is built in and\n"
    "               a display answers, else terminal where standard input is one, else none)\n"
    "  --show DIALOG\n"
    "               has the agent that runs in this session show its settings or the service's\n"
    "               status, and ends; becomes the agent and shows the dialog if none does so\n";

namespace {

const std::map<std::string, host::FrontEnd> kFrontEnds{{"desktop", host::FrontEnd::Desktop},
                                                       {"terminal", host::FrontEnd::Terminal},
                                                       {"none", host::FrontEnd::None}};

} // namespace

std::variant<Options, std::string> parseOptions(int argc, const char* const* argv) try {
    const Kvs::ProgramOptions given(
        argc, argv, {{"--root", true}, {"--ui", true}, {"--show", true}, {"--version"}, {"--help"}});
    Options options;
    options.version = given.has("--version");
    options.help = given.has("--help");
    if (given.value("--root") == "") {
        return "--root needs a folder";
    }
    options.root = given.value("--root").value_or("");
    if (const auto mode = given.value("--ui")) {
        const auto frontEnd = kFrontEnds.find(*mode);
        if (frontEnd == kFrontEnds.end()) {
            return "--ui takes desktop, terminal or none, not " + *mode;
        }
        options.frontEnd = frontEnd->second;
    }
    if (const auto name = given.value("--show")) {
        options.show = dialogNamed(*name);
        if (!options.show) {
            return "--show takes settings or status, not " + *name;
        }
    }
    return options;
} catch (const std::invalid_argument& error) {
    return error.what();
}

} // namespace kvn
