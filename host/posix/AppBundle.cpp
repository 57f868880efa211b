// SPDX-License-Identifier: MIT

#include "host/posix/AppBundle.h"

#include "core/logging/CNSLog.h"
#include "core/system/ReadFile.h"
#include "host/executable/EmbeddedInfoList.h"
#include "host/posix/StringsTable.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kvn::host {
namespace {

constexpr std::size_t kFileLimit = std::size_t{1} << 20; // far above the size of both files
constexpr char kDefaultLanguage[] = "en";

bool isFile(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

std::optional<std::string> textIn(const PropertyValue::Dictionary& entries, const std::string& key) {
    const auto found = entries.find(key);
    const auto* text = found == entries.end() ? nullptr : found->second.as<std::string>();
    return text ? std::optional(*text) : std::nullopt;
}

} // namespace

std::optional<std::string> bundleOf(const std::string& executable) {
    const auto programs = std::filesystem::path(executable).parent_path();
    const auto contents = programs.parent_path();
    const auto bundle = contents.parent_path();
    const bool isBundle =
        programs.filename() == "MacOS" && contents.filename() == "Contents" && bundle.extension() == ".app";
    return isBundle ? std::optional(bundle.string()) : std::nullopt;
}

AppBundle::AppBundle(const std::string& path, const PropertyList& propertyLists,
                     const std::vector<std::string>& preferredLanguages)
    : path_(path), propertyLists_(propertyLists), infoList_(infoListOf(path)) {
    const std::string language = localization(preferredLanguages);
    texts_ = readTexts(language);
    if (language != kDefaultLanguage) {
        texts_.merge(readTexts(kDefaultLanguage));
    }
}

std::string AppBundle::tableOf(const std::string& language) const {
    return path_ + "/Contents/Resources/" + language + ".lproj/Localizable.strings";
}

/// Returns the first tag, or else its primary language, if that has a table; the other tags do not count. The
/// texts of language.xml are chosen by the same rule, so that both speak one language.
std::string AppBundle::localization(const std::vector<std::string>& preferredLanguages) const {
    const std::string tag = preferredLanguages.empty() ? "" : preferredLanguages.front();
    for (const std::string& language : {tag, tag.substr(0, tag.find('-'))}) {
        if (!language.empty() && isFile(tableOf(language))) {
            return language;
        }
    }
    return kDefaultLanguage;
}

AppBundle::Texts AppBundle::readTexts(const std::string& language) const {
    const std::string file = tableOf(language);
    const auto content = Kvs::fReadFile(file, kFileLimit);
    if (!content) {
        Kvs::OCNSLog("Could not read the texts of %@", file);
        return {};
    }
    StringsTable table = parseStringsTable(*content);
    for (const std::size_t line : table.brokenLines) {
        Kvs::OCNSLog("Skipped the broken line %lu of %@", static_cast<unsigned long>(line), file);
    }
    return std::move(table.texts);
}

std::string AppBundle::localizedString(const std::string& key) const {
    const auto found = texts_.find(key);
    return found == texts_.end() ? key : found->second;
}

std::optional<std::string> AppBundle::infoValue(const std::string& key) const {
    return textIn(infoList_, key);
}

std::optional<std::string> AppBundle::resourcePath(const std::string& name, const std::string& type) const {
    const std::string path = path_ + "/Contents/Resources/" + name + "." + type;
    return isFile(path) ? std::optional(path) : std::nullopt;
}

std::optional<std::string> AppBundle::executableOf(const std::string& bundlePath) const {
    const std::string ownName = std::filesystem::path(bundlePath).stem();
    const std::string path = bundlePath + "/Contents/MacOS/" +
                             textIn(infoListOf(bundlePath), "CFBundleExecutable").value_or(ownName);
    return isFile(path) ? std::optional(path) : std::nullopt;
}

std::optional<std::string> AppBundle::auxiliaryExecutable(const std::string& path) const {
    const std::filesystem::path below(path);
    if (below.is_absolute() || std::find(below.begin(), below.end(), "..") != below.end()) {
        return std::nullopt;
    }
    const std::string whole = path_ + "/Contents/" + path;
    return isFile(whole) ? std::optional(whole) : std::nullopt;
}

std::variant<PropertyValue::Dictionary, Error>
AppBundle::embeddedInfoList(const std::string& executable) const {
    const auto bytes = readEmbeddedInfoList(executable);
    if (const auto* error = std::get_if<Error>(&bytes)) {
        return *error;
    }
    auto parsed = propertyLists_.parse(std::get<std::string>(bytes));
    if (auto* error = std::get_if<Error>(&parsed)) {
        return std::move(*error);
    }
    auto* entries = std::get_if<PropertyValue::Dictionary>(&std::get<PropertyValue>(parsed).value);
    if (!entries) {
        return Error{"PropertyList", 0, "not a dictionary"};
    }
    return std::move(*entries);
}

PropertyValue::Dictionary AppBundle::infoListOf(const std::string& bundlePath) const {
    const auto content = Kvs::fReadFile(bundlePath + "/Contents/Info.plist", kFileLimit);
    if (!content) {
        return {};
    }
    auto parsed = propertyLists_.parse(*content);
    if (const auto* error = std::get_if<Error>(&parsed)) {
        Kvs::OCNSLog("Could not read Info.plist of %@: %@", bundlePath, *error);
        return {};
    }
    auto* entries = std::get_if<PropertyValue::Dictionary>(&std::get<PropertyValue>(parsed).value);
    return entries ? std::move(*entries) : PropertyValue::Dictionary();
}

} // namespace kvn::host
