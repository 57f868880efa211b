// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

namespace kvn::host {

/// Returns the root that an agent with these arguments uses; an empty one for the real file system. Each
/// argument ends with a zero byte. `folder` is the process's working directory. Returns nullopt when the
/// root's path cannot be resolved, and for a program that is no agent because it asks one to show a dialog.
inline std::optional<std::filesystem::path> rootOfProgram(std::string_view arguments,
                                                          const std::filesystem::path& folder) {
    std::filesystem::path root;
    std::string_view previous;
    while (!arguments.empty()) {
        const std::string_view argument = arguments.substr(0, arguments.find('\0'));
        if (previous == "--root") {
            root = argument;
        } else if (argument == "--show") {
            return std::nullopt;
        }
        previous = argument;
        arguments.remove_prefix(std::min(argument.size() + 1, arguments.size()));
    }
    if (root.empty()) {
        return root;
    }
    std::error_code error;
    root = std::filesystem::weakly_canonical(folder / root, error);
    return error ? std::nullopt : std::optional(root);
}

} // namespace kvn::host
