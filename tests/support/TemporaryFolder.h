// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace kvn::test {

/// A new folder that is removed with its contents at the end of the scope. Its path has no links and is
/// short, because the paths of sockets have at most 103 bytes: on macOS the folder of $TMPDIR takes up half
/// of them.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::canonical("/tmp") / "kvnXXXXXX").string();
        if (!mkdtemp(pattern.data())) {
            throw std::runtime_error("no temporary folder: " + pattern);
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

} // namespace kvn::test
