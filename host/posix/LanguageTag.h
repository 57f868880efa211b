// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace kvn::host {

/// Returns a language tag in the form that names language resources: Chinese has its script instead of its
/// region, because the texts differ by script. "zh-Hant-TW" and "zh-TW" are "zh-Hant"; "zh" is "zh-Hans";
/// other tags stay as they are.
inline std::string languageTag(const std::string& tag) {
    if (tag != "zh" && !tag.starts_with("zh-")) {
        return tag;
    }
    for (const char* const traditional : {"-Hant", "-TW", "-HK", "-MO"}) {
        if (tag.find(traditional) != tag.npos && tag.find("-Hans") == tag.npos) {
            return "zh-Hant";
        }
    }
    return "zh-Hans";
}

} // namespace kvn::host
