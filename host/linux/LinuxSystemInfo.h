#pragma once

#include "host/SystemInfo.h"

#include <string_view>

namespace kvn::host {

class LinuxSystemInfo final : public SystemInfo {
public:
    /// Time spent asleep counts.
    std::chrono::seconds upTime() const override;

    /// The languages of the environment's locale.
    std::vector<std::string> preferredLanguages() const override;

    /// Always: the rules for old releases are those of another system.
    bool isOperatingSystemAtLeast(int, int, int) const override { return true; }
};

/// The environment's variables for the language of messages; empty if not set.
struct LocaleVariables {
    std::string_view language; // LANGUAGE
    std::string_view all;      // LC_ALL
    std::string_view messages; // LC_MESSAGES
    std::string_view lang;     // LANG
};

/// The user's languages by gettext's rules, the best first, as the tags that language resources are named by:
/// those of LANGUAGE, or if it is empty that of the locale; none in the locale C. Chinese has its script
/// instead of its region, because the texts differ by script.
std::vector<std::string> preferredLanguagesOf(const LocaleVariables& variables);

} // namespace kvn::host
