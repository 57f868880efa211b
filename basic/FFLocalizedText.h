// SPDX-License-Identifier: MIT

#pragma once

#include "basic/LanguageFileParser.h"
#include "host/Bundle.h"
#include "host/SystemInfo.h"

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvn {

/// The texts of the user interface in the user's language: from language.xml, which holds all languages and
/// is shared with the product's other platforms, and from the bundle's string table (system texts).
///
/// Loading chooses the first preferred language, exactly or without its region, or else English, and adds
/// missing texts from English. The texts do not change afterwards: any thread may read them. A failure to
/// load is logged, and the texts of that file are missing.
class FFLocalizedText {
public:
    /// A replacement and the placeholder that it replaces.
    using Replacement = std::pair<std::optional<std::string_view>, std::optional<std::string_view>>;

    /// Loads the texts of the language file, or of the bundle's language.xml if no file is given, if users
    /// other than root can change the file, or if it holds no language.
    FFLocalizedText(const host::Bundle& bundle, const std::vector<std::string>& preferredLanguages,
                    const std::optional<std::string>& languageFile);
    FFLocalizedText(const FFLocalizedText&) = delete;
    FFLocalizedText& operator=(const FFLocalizedText&) = delete;

    /// Returns the process's texts, which the first call loads. Any thread.
    static const FFLocalizedText& shared();

    /// Sets the sources of `shared`, which must be called before it and must outlive its use. Discards the
    /// language file and the texts of earlier sources, which must not be used any more.
    static void setSharedSources(const host::Bundle* bundle, const host::SystemInfo* systemInfo);

    /// Sets the file that `shared` loads. Called after `setSharedSources`, before the first `shared`.
    static void useLanguageFile(std::string path);

    /// Returns the text. A missing one is logged, and an empty text returned.
    std::string stringForKey(std::string_view key) const;

    /// Does what `stringForKey` does; 100 more characters can be appended without an allocation.
    std::string mutableStringForKey(std::string_view key) const;

    /// Returns the text, or the default language's text, or an empty text. Logs nothing.
    std::string stringForKeyOrDefault(std::string_view key) const;

    /// Returns a text of the bundle's string table.
    std::optional<std::string> systemStringForKey(std::string_view key) const;

    /// Returns the text with every occurrence of each placeholder replaced, pair by pair. The list ends at
    /// the first pair with a nullopt in it.
    std::string stringForKeyWithReplacements(std::string_view key,
                                             std::initializer_list<Replacement> replacements) const;

    /// Does the same with a map from placeholder to replacement, in the order of the keys.
    std::string stringForKeyWithReplacementsDictionary(std::string_view key,
                                                       const TextMap& replacements) const;

    /// Returns the text of every loaded language that has one, by Windows language id.
    std::map<std::string, std::string> allStringsForKey(std::string_view key) const;

    /// Returns the language code of a Windows language id.
    std::optional<std::string> winLanguageKeyToLanguageCode(std::string_view id) const;

    /// Returns the Windows language id for a locale such as ("BR", "pt"), whose case does not matter; empty
    /// when there is none.
    std::string languageCodeForCountry(std::string_view country, std::string_view language) const;

private:
    std::string determineApplicationLanguage(const std::vector<std::string>& preferredLanguages) const;
    void loadSystemTextResourcesFor(const std::string& language, const host::Bundle& bundle,
                                    const std::vector<std::string>& preferredLanguages);
    void chooseTexts(const std::string& language);

    LanguageMap languageMap_;
    const TextMap* theTextMap_ = nullptr; ///< the chosen language's entry in `languageMap_`; null without one
    TextMap theSystemTextMap_;
};

} // namespace kvn
