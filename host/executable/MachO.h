#pragma once

#include "host/Error.h"
#include "host/executable/FileWindow.h"

#include <string_view>
#include <variant>

namespace kvn::host {

/// Whether the first four bytes of a file are those of a Mach-O image or of a universal file.
bool isMachO(std::string_view magic);

/// Where the information property list lies in a Mach-O image, or in the first slice of a universal file
/// that has one; images of 32 and 64 bits in either byte order.
std::variant<FileWindow, Error> findMachOInfoList(const FileWindow& file);

} // namespace kvn::host
