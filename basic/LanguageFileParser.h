// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kvn {

using TextMap = std::map<std::string, std::string, std::less<>>; ///< Text by key.
using LanguageMap = std::map<std::string, TextMap, std::less<>>; ///< Texts by language code.

/// Reads a language file: elements "Language" with a Windows language id as "langKey", each followed by its
/// "KeyPair" elements with "key" and "value". It ignores everything else in the file.
///
/// Languages that the user does not prefer keep only the keys required for all languages. A file that
/// declares entities or default attributes, or nests its elements deeply, is refused, because these can make
/// a small file huge.
class LanguageFileParser {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{8} << 20; // several times the size of the real file
    static constexpr int kMaxLevels = 256;

    /// Who can change the file: the users that fOpenTrustedFile (core/system/Trust.h) accepts, or whoever can
    /// change the program as well.
    enum class Origin { Installation, Bundle };

    /// `preferredLanguages` are language tags, the best first. The texts are added to `languageMap`. Both
    /// must outlive the parser.
    LanguageFileParser(const std::vector<std::string>& preferredLanguages, LanguageMap& languageMap);

    /// Adds the languages of one file. A failure is logged; texts read before it are kept.
    void parseLanguageData(const std::string& path, Origin origin);

    /// Handles a start tag; `attributes` are names and values in turn, up to a null.
    void didStartElement(const char* element, const char* const* attributes);

private:
    bool parserCanSkipLanguage(std::string_view code);
    void startLanguage(const char* id);

    const std::vector<std::string>& preferredLanguages_;
    LanguageMap& languageMap_;
    bool skipLang_ = false;
    bool haveLang_ = false; ///< has read the user's first preferred language, exactly
    bool haveDefaultLang_ = false;
    TextMap* currentParserMap_ = nullptr; ///< null outside of known languages
};

} // namespace kvn
