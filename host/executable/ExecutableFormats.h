// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/executable/FileWindow.h"

#include <string_view>
#include <variant>

namespace kvn::host {

// Each format recognises its files by their first four bytes, and finds the information property list in a
// file.

bool isElf(std::string_view magic);

/// Returns the section `__info_plist` of a file of 32 or 64 bits in either byte order. The extended numbering
/// of files with 65280 sections or more is refused.
std::variant<FileWindow, Error> findElfInfoList(const FileWindow& file);

/// Returns true for universal files too.
bool isMachO(std::string_view magic);

/// Returns the section `__TEXT,__info_plist` of an image, or of the first slice of a universal file that has
/// one; images of 32 and 64 bits in either byte order.
std::variant<FileWindow, Error> findMachOInfoList(const FileWindow& file);

} // namespace kvn::host
