// SPDX-License-Identifier: MIT

#include "fuzz/Fuzz.h"
#include "host/posix/StringsTable.h"

/// Takes the bytes as a string table.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto table = kvn::host::parseStringsTable(kvn::fuzz::textOf(data, size));
    for (const std::size_t line : table.brokenLines) {
        kvn::fuzz::require(line >= 1 && line <= size + 1, "a broken line that the table does not have");
    }
    kvn::fuzz::require(table.texts.size() <= size, "more texts than bytes");
    return 0;
}
