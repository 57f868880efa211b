// SPDX-License-Identifier: MIT

#include "core/system/FileDescriptor.h"
#include "host/PropertyList.h"
#include "host/executable/EmbeddedInfoList.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "info_list_fuzzer: %s\n", what);
        std::abort();
    }
}

} // namespace

/// Takes the bytes as an executable file. All runs use the same file: set TMPDIR to a file system in memory.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kvn::test::TemporaryFolder folder;
    static const std::string path = folder.file("executable");
    static const Kvs::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    require(::ftruncate(file.get(), static_cast<off_t>(size)) == 0 &&
                ::pwrite(file.get(), data, size, 0) == static_cast<ssize_t>(size),
            "the file cannot be written");

    const auto read = kvn::host::readEmbeddedInfoList(path);
    if (const auto* error = std::get_if<kvn::host::Error>(&read)) {
        require(error->domain == "executable" && !error->reason.empty(), "an error of the wrong kind");
        return 0;
    }
    const auto& list = std::get<std::string>(read);
    require(!list.empty() && list.size() <= kvn::host::PropertyList::kMaxBytes, "a list of a wrong size");
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    require(bytes.find(list) != bytes.npos, "a list that is not in the file");
    return 0;
}
