// SPDX-License-Identifier: MIT

#pragma once

#include "host/SystemInfo.h"

#include <string_view>

namespace kvn::host {

class LinuxSystemInfo final : public SystemInfo {
public:
    /// Includes the time that the system was asleep.
    std::chrono::seconds upTime() const override;

    /// Returns the languages of the environment's locale.
    std::vector<std::string> preferredLanguages() const override;

    /// Returns true: the rules for old releases apply to another system only.
    bool isOperatingSystemAtLeast(int, int, int) const override { return true; }
};

/// The environment's variables for the language of messages. They are empty if not set.
struct LocaleVariables {
    std::string_view language; // LANGUAGE
    std::string_view all;      // LC_ALL
    std::string_view messages; // LC_MESSAGES
    std::string_view lang;     // LANG
};

/// Returns the user's languages by gettext's rules, the best first, as the tags that name language resources:
/// those of LANGUAGE, or if it is empty that of the locale; none in the locale C. Chinese has its script
/// instead of its region, because the texts differ by script.
std::vector<std::string> preferredLanguagesOf(const LocaleVariables& variables);

} // namespace kvn::host
