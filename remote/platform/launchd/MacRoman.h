#pragma once

#include <string>
#include <string_view>

namespace kvn {

/// The UTF-8 form of a text in the Mac OS Roman encoding, in which every byte is a character. Any thread.
std::string utf8FromMacRoman(std::string_view bytes);

} // namespace kvn
