// SPDX-License-Identifier: MIT

#include "remote/platform/settings/RemoteAppSuitePrefs.h"

#include "core/system/FSysInfoPaths.h"
#include "core/text/TextFunctions.h"
#include "remote/platform/settings/PreferencesStore.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace kvn {

using host::PropertyValue;

namespace {

/// The time for which the destructor waits for other holders of the file's lock.
constexpr std::chrono::seconds kFinishLimit(2);

double numberAtStartOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    double value = 0;
    Kvs::fReadDouble(text, value);
    return value;
}

} // namespace

RemoteAppSuitePrefs::RemoteAppSuitePrefs(std::string_view suiteName, const host::PropertyList& propertyList)
    : store_(std::make_shared<PreferencesStore>(Kvs::FSysInfoPaths::applicationSupportDirectory() +
                                                    "/com.korvane.remote/registry/" + std::string(suiteName) +
                                                    ".plist",
                                                propertyList)) {}

RemoteAppSuitePrefs::~RemoteAppSuitePrefs() { store_->finish(kFinishLimit); }

RemoteAppSuitePrefs::Values RemoteAppSuitePrefs::values() const { return Values(store_->values()); }

std::optional<RemoteAppSuitePrefs::Number>
RemoteAppSuitePrefs::Values::numberForKey(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return std::visit(
        [](const auto& held) -> std::optional<Number> {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_arithmetic_v<Held>) {
                return held;
            } else if constexpr (std::is_same_v<Held, std::string>) {
                return numberAtStartOf(held);
            } else {
                return std::nullopt;
            }
        },
        found->second.value);
}

std::optional<std::string> RemoteAppSuitePrefs::Values::stringForKey(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return std::visit(
        [](const auto& held) -> std::optional<std::string> {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, double>) {
                return Kvs::fTextOfDouble(held, 15);
            } else if constexpr (std::is_arithmetic_v<Held>) {
                return std::to_string(held);
            } else if constexpr (std::is_same_v<Held, std::string>) {
                return held;
            } else {
                return std::nullopt;
            }
        },
        found->second.value);
}

bool RemoteAppSuitePrefs::setNumber(Number value, std::string_view key) {
    return store_->setPreferenceValue(std::visit([](auto number) { return PropertyValue{number}; }, value),
                                      key);
}

bool RemoteAppSuitePrefs::setString(std::string value, std::string_view key) {
    return store_->setPreferenceValue(PropertyValue{std::move(value)}, key);
}

bool RemoteAppSuitePrefs::removeValueForKey(std::string_view key) {
    return store_->setPreferenceValue(std::nullopt, key);
}

void RemoteAppSuitePrefs::removeAllValues() { store_->removeAllValues(); }

} // namespace kvn
