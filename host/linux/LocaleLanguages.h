#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvn::host {

/// What the environment says of the language of messages, as its variables of these names; empty where
/// one is not set.
struct LocaleVariables {
    std::string_view language; // LANGUAGE
    std::string_view all;      // LC_ALL
    std::string_view messages; // LC_MESSAGES
    std::string_view lang;     // LANG
};

/// The user's languages by gettext's rules, the best first, as the tags that language resources are named
/// by: LANGUAGE lists them, but counts for nothing in the locale C, whose user has chosen none; else it
/// is the locale's. Chinese gets its script instead of its region, because the texts differ by script.
std::vector<std::string> preferredLanguagesOf(const LocaleVariables& variables);

} // namespace kvn::host
