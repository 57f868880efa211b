#include "host/posix/AppBundle.h"

#include "core/logging/CNSLog.h"
#include "core/system/ReadFile.h"
#include "host/posix/StringsTable.h"

#include <filesystem>

namespace kvn::host {
namespace {

constexpr std::size_t kFileLimit = std::size_t{1} << 20; // far more than either file has

} // namespace

AppBundle::AppBundle(const std::string& path, const PropertyList& propertyLists)
    : propertyLists_(propertyLists) {
    const std::string file = path + "/Contents/Resources/en.lproj/Localizable.strings";
    const auto content = Kvs::fReadFile(file, kFileLimit);
    if (!content) {
        Kvs::OCNSLog("Could not read the texts of %@", file);
        return;
    }
    StringsTable table = parseStringsTable(*content);
    for (const std::size_t line : table.brokenLines) {
        Kvs::OCNSLog("Skipped the broken line %lu of %@", static_cast<unsigned long>(line), file);
    }
    texts_ = std::move(table.texts);
}

std::string AppBundle::localizedString(const std::string& key) const {
    const auto found = texts_.find(key);
    return found == texts_.end() ? key : found->second;
}

std::optional<std::string> AppBundle::executableOf(const std::string& bundlePath) const {
    const std::string path = bundlePath + "/Contents/MacOS/" + executableName(bundlePath);
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) ? std::optional(path) : std::nullopt;
}

std::string AppBundle::executableName(const std::string& bundlePath) const {
    std::string ownName = std::filesystem::path(bundlePath).stem();
    const auto content = Kvs::fReadFile(bundlePath + "/Contents/Info.plist", kFileLimit);
    if (!content) {
        return ownName;
    }
    const auto parsed = propertyLists_.parse(*content);
    if (const auto* error = std::get_if<Error>(&parsed)) {
        Kvs::OCNSLog("Could not read Info.plist of %@: %@", bundlePath, *error);
        return ownName;
    }
    const auto* entries = std::get<PropertyValue>(parsed).as<PropertyValue::Dictionary>();
    if (!entries || !entries->contains("CFBundleExecutable")) {
        return ownName;
    }
    const auto* name = entries->at("CFBundleExecutable").as<std::string>();
    return name ? *name : ownName;
}

} // namespace kvn::host
