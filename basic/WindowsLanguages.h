// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace kvn {

/// A language's id in language.xml, which is a Windows language id, and its language code.
struct WindowsLanguage {
    std::string_view id;
    std::string_view code;
};

inline constexpr std::string_view kDefaultLanguage = "en";

/// Lists every language of the product; the default one has an empty id.
inline constexpr std::array<WindowsLanguage, 18> kWindowsLanguages{{
    {"", kDefaultLanguage},
    {"22-01", "pt-BR"},
    {"22-02", "pt"},
    {"10", "es"},
    {"3", "ca"},
    {"7", "de"},
    {"19", "nl"},
    {"25", "ru"},
    {"16", "it"},
    {"5", "cs"},
    {"4", "zh-Hans"},
    {"17", "ja"},
    {"24", "ro"},
    {"21", "pl"},
    {"8", "el"},
    {"12", "fr"},
    {"31", "tr"},
    {"27", "sk"},
}};

/// Returns the code of a Windows language id; nullopt for an unknown id.
inline std::optional<std::string_view> languageCodeOfWindowsId(std::string_view id) {
    const auto found = std::find_if(kWindowsLanguages.begin(), kWindowsLanguages.end(),
                                    [id](const WindowsLanguage& language) { return language.id == id; });
    return found == kWindowsLanguages.end() ? std::nullopt : std::optional(found->code);
}

/// Returns the part of a language tag before its first "-".
inline std::string_view primaryLanguage(std::string_view tag) { return tag.substr(0, tag.find('-')); }

} // namespace kvn
