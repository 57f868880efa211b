// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kvn::host {

/// A string table in the classic text form, UTF-8:
///     /* comment */ // comment
///     "key" = "value";
/// with the escapes \" \\ \n \t \r and \U0041 (a UTF-16 unit) in quoted texts; any other escaped character is
/// taken as it is. The last of several values of one key counts.
struct StringsTable {
    std::map<std::string, std::string, std::less<>> texts;
    std::vector<std::size_t> brokenLines; // skipped; counted from 1
};

StringsTable parseStringsTable(std::string_view text);

} // namespace kvn::host
