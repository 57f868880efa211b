// SPDX-License-Identifier: MIT

#include "basic/LanguageFileParser.h"
#include "fuzz/Fuzz.h"

/// Takes the bytes as a language file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvn::fuzz::logNothing();
    const std::vector<std::string> preferred{"de-AT", "zh-Hans", "en"};
    kvn::LanguageMap texts;
    using Parser = kvn::LanguageFileParser;
    Parser(preferred, texts).parseLanguageData(kvn::fuzz::fileOf(data, size), Parser::Origin::Bundle);
    std::size_t kept = 0;
    for (const auto& [language, map] : texts) {
        kvn::fuzz::require(!language.empty(), "texts without a language");
        for (const auto& [key, text] : map) {
            kept += key.size() + text.size();
        }
    }
    kvn::fuzz::require(kept <= 8 * size, "more text than the file has");
    return 0;
}
