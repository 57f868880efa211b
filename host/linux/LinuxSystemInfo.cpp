// SPDX-License-Identifier: MIT

#include "host/linux/LinuxSystemInfo.h"

#include "host/posix/LanguageTag.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace kvn::host {
namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : std::string_view();
}

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kLettersAndDigits =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

/// Returns language_REGION of language_REGION.encoding@modifier.
std::string_view languageAndRegion(std::string_view locale) {
    return locale.substr(0, locale.find_first_of(".@"));
}

bool isC(std::string_view name) { return name.empty() || name == "C" || name == "POSIX"; }

/// Returns the tag for language_REGION; an empty one for a text of another form.
std::string tagOf(std::string_view name) {
    const std::size_t end = name.find('_');
    const std::string_view language = name.substr(0, end);
    const std::string_view region = end == name.npos ? std::string_view() : name.substr(end + 1);
    if (language.size() < 2 || language.find_first_not_of(kLetters) != language.npos ||
        region.find_first_not_of(kLettersAndDigits) != region.npos) {
        return {};
    }
    std::string tag(language);
    return languageTag(region.empty() ? tag : tag.append("-").append(region));
}

} // namespace

std::chrono::seconds LinuxSystemInfo::upTime() const {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec);
}

std::vector<std::string> LinuxSystemInfo::preferredLanguages() const {
    return preferredLanguagesOf(
        {variable("LANGUAGE"), variable("LC_ALL"), variable("LC_MESSAGES"), variable("LANG")});
}

std::vector<std::string> preferredLanguagesOf(const LocaleVariables& variables) {
    const std::string_view locale = !variables.all.empty()        ? variables.all
                                    : !variables.messages.empty() ? variables.messages
                                                                  : variables.lang;
    if (isC(languageAndRegion(locale))) {
        return {};
    }
    std::vector<std::string> tags;
    for (std::string_view rest = variables.language.empty() ? locale : variables.language; !rest.empty();) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const std::string_view name = languageAndRegion(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (name == "C" || name == "POSIX") {
            break; // untranslated from here on
        }
        const std::string tag = tagOf(name);
        if (!tag.empty() && std::find(tags.begin(), tags.end(), tag) == tags.end()) {
            tags.push_back(tag);
        }
    }
    return tags;
}

} // namespace kvn::host
