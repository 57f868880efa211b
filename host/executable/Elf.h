#pragma once

#include "host/Error.h"
#include "host/executable/FileWindow.h"

#include <string_view>
#include <variant>

namespace kvn::host {

/// Whether the first four bytes of a file are those of an ELF file.
bool isElf(std::string_view magic);

/// Where the section `__info_plist` of an ELF file lies; 32 and 64 bits, either byte order. The extended
/// numbering of files with 65280 sections or more is refused.
std::variant<FileWindow, Error> findElfInfoList(const FileWindow& file);

} // namespace kvn::host
