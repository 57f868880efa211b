// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "host/linux/helper-installer/HelperFiles.h"
#include "host/linux/helper-installer/LinePipe.h"

#include <algorithm>

using kvn::fuzz::require;

/// Takes the bytes as what one of the two parties of an installation sends, and each line as a job's label.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    int ends[2];
    require(::pipe(ends) == 0, "no pipe");
    kvn::host::LinePipe lines(Kvs::FileDescriptor{ends[0]}, {});
    const std::size_t length = std::min<std::size_t>(size, 32768); // less than a pipe holds
    require(::write(ends[1], data, length) == static_cast<ssize_t>(length), "a short write");
    ::close(ends[1]);
    std::size_t taken = 0;
    while (const auto line = lines.read()) {
        require(line->find('\n') == line->npos && line->size() <= kvn::host::LinePipe::kMaxLine, "no line");
        if (kvn::host::isJobLabel(*line)) {
            require(line->find('/') == line->npos && !line->empty(), "a label that leads to another folder");
        }
        taken += line->size() + 1;
    }
    require(taken <= length, "lines out of nowhere");
    return 0;
}
