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

/// The texts that the product's platforms share, the menu's among them, in the user's language: from
/// language.xml, which holds all languages, and from the bundle's string table (system texts).
///
/// Loading chooses the first preferred language, exactly or without its region, else English, and fills its
/// gaps from English. Nothing changes afterwards: any thread may ask. A failure is logged and leaves texts
/// out.
class FFLocalizedText {
public:
    /// A replacement and the placeholder that it stands for.
    using Replacement = std::pair<std::optional<std::string_view>, std::optional<std::string_view>>;

    /// Loads the texts. Without a file of its own, or when that holds no language, the bundle's
    /// language.xml is read.
    FFLocalizedText(const host::Bundle& bundle, const std::vector<std::string>& preferredLanguages,
                    const std::optional<std::string>& languageFile);
    FFLocalizedText(const FFLocalizedText&) = delete;
    FFLocalizedText& operator=(const FFLocalizedText&) = delete;

    /// The process's texts, loaded by the first call. Any thread.
    static const FFLocalizedText& shared();

    /// Where `shared` finds the bundle and the preferred languages: set by main, which keeps both alive
    /// until it sets null. Forgets the language file and the texts of before, so nobody may use them then.
    static void setSharedSources(const host::Bundle* bundle, const host::SystemInfo* systemInfo);

    /// The file that `shared` loads. After `setSharedSources`, before the first `shared`.
    static void useLanguageFile(std::string path);

    /// The text, or an empty one, which is logged each time.
    std::string stringForKey(std::string_view key) const;

    /// As `stringForKey`, with room for 100 more characters.
    std::string mutableStringForKey(std::string_view key) const;

    /// The text, the default language's, or an empty one; logs nothing.
    std::string stringForKeyOrDefault(std::string_view key) const;

    /// A text of the bundle's string table.
    std::optional<std::string> systemStringForKey(std::string_view key) const;

    /// The text with every occurrence of each placeholder replaced, pair by pair. The list ends at the
    /// first pair with nothing in it.
    std::string stringForKeyWithReplacements(std::string_view key,
                                             std::initializer_list<Replacement> replacements) const;

    /// The same with placeholders as keys and replacements as values, in the order of the keys.
    std::string stringForKeyWithReplacementsDictionary(std::string_view key,
                                                       const TextMap& replacements) const;

    /// The text of every loaded language that has one, by Windows language id.
    std::map<std::string, std::string> allStringsForKey(std::string_view key) const;

    /// The code of a Windows language id.
    std::optional<std::string> winLanguageKeyToLanguageCode(std::string_view id) const;

    /// The Windows language id for a locale such as ("BR", "pt"), in any case; empty when there is none.
    std::string languageCodeForCountry(std::string_view country, std::string_view language) const;

private:
    std::string determineApplicationLanguage(const std::vector<std::string>& preferredLanguages) const;
    void loadSystemTextResourcesFor(const std::string& language, const host::Bundle& bundle,
                                    const std::vector<std::string>& preferredLanguages);
    void chooseTexts(const std::string& language);

    LanguageMap languageMap_;
    const TextMap* theTextMap_ = nullptr; ///< The chosen language's, in `languageMap_`; null without one.
    TextMap theSystemTextMap_;
};

} // namespace kvn
