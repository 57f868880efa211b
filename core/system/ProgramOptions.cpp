// SPDX-License-Identifier: MIT

#include "core/system/ProgramOptions.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace Kvs {

ProgramOptions::ProgramOptions(int argc, const char* const* argv, const std::vector<ProgramOption>& known) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        const auto option = std::find_if(known.begin(), known.end(),
                                         [&](const ProgramOption& each) { return each.name == name; });
        if (option == known.end()) {
            throw std::invalid_argument("unknown option: " + name);
        }
        if (option->takesValue && ++i == argc) {
            throw std::invalid_argument(name + " needs a value");
        }
        given_[name] = option->takesValue ? argv[i] : "";
    }
}

std::optional<std::string> ProgramOptions::value(const std::string& name) const {
    const auto found = given_.find(name);
    return found == given_.end() ? std::nullopt : std::optional(found->second);
}

int fRunProgram(const char* name, const char* usage, int argc, const char* const* argv,
                std::vector<ProgramOption> known, const std::function<int(const ProgramOptions&)>& body) {
    known.push_back({"--help"});
    try {
        const ProgramOptions options(argc, argv, known);
        if (options.has("--help")) {
            std::fputs(usage, stdout);
            return 0;
        }
        return body(options);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "%s: %s\n%s", name, error.what(), usage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        return 1;
    }
}

} // namespace Kvs
