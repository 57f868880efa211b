// SPDX-License-Identifier: MIT

#include "basic/FFLocalizedText.h"

#include "basic/WindowsLanguages.h"
#include "core/logging/CNSLog.h"
#include "core/text/TextFunctions.h"
#include "core/threads/FThreadLock.h"

#include <memory>

namespace kvn {
namespace {

using Kvs::OCNSLog;

struct SharedTexts {
    Kvs::FThreadLock lock;
    const host::Bundle* bundle KVS_GUARDED_BY(lock) = nullptr;
    const host::SystemInfo* systemInfo KVS_GUARDED_BY(lock) = nullptr;
    std::optional<std::string> languageFile KVS_GUARDED_BY(lock);
    std::unique_ptr<const FFLocalizedText> instance KVS_GUARDED_BY(lock);
};

SharedTexts& sharedTexts() {
    static SharedTexts texts;
    return texts;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return Kvs::fLowerAscii(std::string(a)) == Kvs::fLowerAscii(std::string(b));
}

void replaceAll(std::string& text, std::string_view placeholder, std::string_view replacement) {
    if (placeholder.empty()) {
        return;
    }
    for (std::size_t at = text.find(placeholder); at != text.npos;
         at = text.find(placeholder, at + replacement.size())) {
        text.replace(at, placeholder.size(), replacement);
    }
}

} // namespace

FFLocalizedText::FFLocalizedText(const host::Bundle& bundle,
                                 const std::vector<std::string>& preferredLanguages,
                                 const std::optional<std::string>& languageFile) {
    const auto bundled = bundle.resourcePath("language", "xml");
    if (!languageFile && !bundled) {
        OCNSLog("Cannot load language resource file: %@", bundled);
        return;
    }
    LanguageFileParser parser(preferredLanguages, languageMap_);
    if (languageFile) {
        parser.parseLanguageData(*languageFile, LanguageFileParser::Origin::Installation);
    }
    if (languageMap_.empty() && bundled) {
        parser.parseLanguageData(*bundled, LanguageFileParser::Origin::Bundle);
    }
    const std::string language = determineApplicationLanguage(preferredLanguages);
    loadSystemTextResourcesFor(language, bundle, preferredLanguages);
    chooseTexts(language);
}

const FFLocalizedText& FFLocalizedText::shared() {
    SharedTexts& texts = sharedTexts();
    Kvs::FLockGuard guard(texts.lock);
    if (!texts.instance) {
        texts.instance = std::make_unique<const FFLocalizedText>(
            *texts.bundle, texts.systemInfo->preferredLanguages(), texts.languageFile);
    }
    return *texts.instance;
}

void FFLocalizedText::setSharedSources(const host::Bundle* bundle, const host::SystemInfo* systemInfo) {
    SharedTexts& texts = sharedTexts();
    Kvs::FLockGuard guard(texts.lock);
    texts.bundle = bundle;
    texts.systemInfo = systemInfo;
    texts.languageFile.reset();
    texts.instance.reset();
}

void FFLocalizedText::useLanguageFile(std::string path) {
    SharedTexts& texts = sharedTexts();
    Kvs::FLockGuard guard(texts.lock);
    texts.languageFile = std::move(path);
}

std::string FFLocalizedText::stringForKey(std::string_view key) const {
    if (theTextMap_) {
        if (const auto found = theTextMap_->find(key); found != theTextMap_->end()) {
            return found->second;
        }
    }
    OCNSLog("Language Value \"%@\" not found!", key);
    return {};
}

std::string FFLocalizedText::mutableStringForKey(std::string_view key) const {
    constexpr std::size_t kSpare = 100;
    std::string text = stringForKey(key);
    text.reserve(text.size() + kSpare);
    return text;
}

std::string FFLocalizedText::stringForKeyOrDefault(std::string_view key) const {
    const auto defaults = languageMap_.find(kDefaultLanguage);
    for (const TextMap* texts : {theTextMap_, defaults == languageMap_.end() ? nullptr : &defaults->second}) {
        if (!texts) {
            continue;
        }
        if (const auto found = texts->find(key); found != texts->end()) {
            return found->second;
        }
    }
    return {};
}

std::optional<std::string> FFLocalizedText::systemStringForKey(std::string_view key) const {
    const auto found = theSystemTextMap_.find(key);
    return found == theSystemTextMap_.end() ? std::nullopt : std::optional(found->second);
}

std::string
FFLocalizedText::stringForKeyWithReplacements(std::string_view key,
                                              std::initializer_list<Replacement> replacements) const {
    std::string text = mutableStringForKey(key);
    for (const auto& [replacement, placeholder] : replacements) {
        if (!replacement || !placeholder) {
            break;
        }
        replaceAll(text, *placeholder, *replacement);
    }
    return text;
}

std::string FFLocalizedText::stringForKeyWithReplacementsDictionary(std::string_view key,
                                                                    const TextMap& replacements) const {
    std::string text = mutableStringForKey(key);
    for (const auto& [placeholder, replacement] : replacements) {
        replaceAll(text, placeholder, replacement);
    }
    return text;
}

std::map<std::string, std::string> FFLocalizedText::allStringsForKey(std::string_view key) const {
    std::map<std::string, std::string> texts;
    for (const WindowsLanguage& language : kWindowsLanguages) {
        const auto loaded = languageMap_.find(language.code);
        if (loaded == languageMap_.end()) {
            continue;
        }
        if (const auto found = loaded->second.find(key); found != loaded->second.end()) {
            texts.emplace(language.id, found->second);
        }
    }
    return texts;
}

std::optional<std::string> FFLocalizedText::winLanguageKeyToLanguageCode(std::string_view id) const {
    const auto code = languageCodeOfWindowsId(id);
    return code ? std::optional<std::string>(*code) : std::nullopt;
}

std::string FFLocalizedText::languageCodeForCountry(std::string_view country,
                                                    std::string_view language) const {
    constexpr std::size_t kPlainCode = 2;
    std::string combined;
    if (!equalIgnoringCase(country, language)) {
        combined.append(language).append("-").append(country);
    }
    std::string id;
    for (const WindowsLanguage& known : kWindowsLanguages) {
        if (known.code.size() == kPlainCode && equalIgnoringCase(known.code, language)) {
            id = known.id;
            if (combined.empty()) {
                break;
            }
        } else if (known.code.size() > kPlainCode && equalIgnoringCase(known.code, combined)) {
            id = known.id;
            break;
        }
    }
    return id;
}

std::string
FFLocalizedText::determineApplicationLanguage(const std::vector<std::string>& preferredLanguages) const {
    std::string language(kDefaultLanguage);
    if (preferredLanguages.empty()) {
        OCNSLog("No preferred languages in NSLocale. Using default lang: %@", language);
        return language;
    }
    // The other preferred languages only decide which languages are loaded.
    const std::string& preferred = preferredLanguages.front();
    std::string primary(primaryLanguage(preferred));
    if (languageMap_.contains(preferred)) {
        OCNSLog("Language set to preferred language: %@", preferred);
        return preferred;
    }
    if (languageMap_.contains(primary)) {
        OCNSLog("Language set to: %@, preferred: %@", primary, preferred);
        return primary;
    }
    OCNSLog("Preferred language not supported: %@, using default language: %@", preferred, language);
    return language;
}

void FFLocalizedText::loadSystemTextResourcesFor(const std::string& language, const host::Bundle& bundle,
                                                 const std::vector<std::string>& preferredLanguages) {
    std::string preferences;
    for (const std::string& preferred : preferredLanguages) {
        preferences += preferred + " ";
    }
    OCNSLog("Loading system text resources for: '%@', Preferrences: %@", language, preferences);
    theSystemTextMap_ = bundle.localizedStrings();
}

void FFLocalizedText::chooseTexts(const std::string& language) {
    const auto chosen = languageMap_.find(language);
    if (chosen == languageMap_.end()) {
        OCNSLog("Cannot determine the language. No default language defined or the language resource file "
                "'%%' is not accessible or has invalid format");
        return;
    }
    theTextMap_ = &chosen->second;
    const auto defaults = languageMap_.find(kDefaultLanguage);
    if (defaults != languageMap_.end() && defaults != chosen) {
        chosen->second.insert(defaults->second.begin(), defaults->second.end());
    }
}

} // namespace kvn
