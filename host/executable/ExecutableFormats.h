#pragma once

#include "host/Error.h"
#include "host/executable/FileWindow.h"

#include <string_view>
#include <variant>

namespace kvn::host {

// Each format tells its files by their first four bytes, and finds the information property list in one.

bool isElf(std::string_view magic);

/// The section `__info_plist`; 32 and 64 bits, either byte order. The extended numbering of files with 65280
/// sections or more is refused.
std::variant<FileWindow, Error> findElfInfoList(const FileWindow& file);

/// True for universal files too.
bool isMachO(std::string_view magic);

/// The section `__TEXT,__info_plist` of an image, or of the first slice of a universal file that has one;
/// images of 32 and 64 bits in either byte order.
std::variant<FileWindow, Error> findMachOInfoList(const FileWindow& file);

} // namespace kvn::host
