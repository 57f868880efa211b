// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "host/PropertyList.h"
#include "host/executable/EmbeddedInfoList.h"

using kvn::fuzz::require;

/// Takes the bytes as an executable file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = kvn::host::readEmbeddedInfoList(kvn::fuzz::fileOf(data, size));
    if (const auto* error = std::get_if<kvn::host::Error>(&read)) {
        require(error->domain == "executable" && !error->reason.empty(), "an error of the wrong kind");
        return 0;
    }
    const auto& list = std::get<std::string>(read);
    require(!list.empty() && list.size() <= kvn::host::PropertyList::kMaxBytes, "a list of a wrong size");
    require(kvn::fuzz::textOf(data, size).find(list) != std::string_view::npos,
            "a list that is not in the file");
    return 0;
}
