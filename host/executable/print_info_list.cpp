// SPDX-License-Identifier: MIT

#include "host/executable/EmbeddedInfoList.h"

#include <cstdio>

// Prints the information property list that is embedded in an executable file of any supported system. Checks
// of a build use it to see a file as the agent sees it.

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: print_info_list FILE\n");
        return 2;
    }
    const auto list = kvn::host::readEmbeddedInfoList(argv[1]);
    if (const auto* error = std::get_if<kvn::host::Error>(&list)) {
        std::fprintf(stderr, "print_info_list: %s\n", error->description().c_str());
        return 1;
    }
    const auto& text = std::get<std::string>(list);
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0 ? 0
                                                                                                       : 1;
}
