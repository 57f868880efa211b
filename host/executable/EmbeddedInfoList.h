// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"

#include <string>
#include <utility>
#include <variant>

namespace kvn::host {

/// The codes of errors in the domain "executable".
enum ExecutableError { kNotAnExecutable = 1, kNoInfoList, kBrokenExecutable };

inline Error executableError(ExecutableError code, std::string reason) {
    return {"executable", code, std::move(reason)};
}

/// Returns the bytes of the information property list that is embedded in an executable file, at most
/// `PropertyList::kMaxBytes`: the section `__TEXT,__info_plist` of a Mach-O file (the first one in a
/// universal file), `__info_plist` of an ELF file. Reads only the headers that lead to the list. A malformed
/// file is an error. Errors have the domain "posix" and an errno value, or "executable". Any thread.
std::variant<std::string, Error> readEmbeddedInfoList(const std::string& path);

} // namespace kvn::host
