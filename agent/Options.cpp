#include "agent/Options.h"

#include <string_view>

namespace kvn {

const char* const kUsage =
    "usage: KvnGUIAgent [--root DIR] [--ui terminal|none] [--version] [--help]\n"
    "\n"
    "  --root DIR   a folder that stands for / in every fixed path\n"
    "  --ui MODE    terminal: shows the status and takes commands; none: runs until SIGTERM\n"
    "               (default: terminal where standard input is one, else none)\n";

std::variant<Options, std::string> parseOptions(int argc, const char* const* argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        const bool hasValue = i + 1 < argc;
        if (option == "--version") {
            options.version = true;
        } else if (option == "--help") {
            options.help = true;
        } else if (option != "--root" && option != "--ui") {
            return "unknown option: " + std::string(option);
        } else if (!hasValue) {
            return std::string(option) + " needs a value";
        } else if (option == "--root") {
            options.root = argv[++i];
            if (options.root.empty()) {
                return "--root needs a folder";
            }
        } else if (const std::string_view mode = argv[++i]; mode == "terminal") {
            options.frontEnd = host::FrontEnd::Terminal;
        } else if (mode == "none") {
            options.frontEnd = host::FrontEnd::None;
        } else {
            return "--ui takes terminal or none, not " + std::string(mode);
        }
    }
    return options;
}

} // namespace kvn
