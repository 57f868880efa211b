// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/HelperFiles.h"

#include "core/system/FSysInfoPaths.h"
#include "core/text/TextFunctions.h"
#include "host/executable/EmbeddedInfoList.h"
#include "host/linux/helper-installer/SystemdUnit.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <utility>

namespace kvn::host {

using Kvs::FileDescriptor;
using Kvs::FSysInfoPaths;

namespace {

constexpr off_t kMaxToolBytes = off_t{1} << 30; // ten times the size of a debug build with sanitizers

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return 0;
}

/// Returns 0 or an `errno` value.
int copyTool(const std::string& source, Trust trust, int target) {
    const FileDescriptor file = openFile(source, trust);
    if (!file) {
        return errno;
    }
    std::vector<char> chunk(std::size_t{1} << 16);
    for (off_t total = 0; total <= kMaxToolBytes;) {
        const ssize_t count = ::read(file.get(), chunk.data(), chunk.size());
        if (count == 0) {
            return 0;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        const std::size_t size = count < 0 ? 0 : static_cast<std::size_t>(count);
        if (const int error = writeAll(target, {chunk.data(), size}); error != 0) {
            return error;
        }
        total += static_cast<off_t>(size);
    }
    return EFBIG;
}

std::variant<PropertyValue::Dictionary, Error> infoListOf(const FileDescriptor& tool,
                                                          const PropertyList& propertyLists) {
    const auto bytes = readEmbeddedInfoList(pathOf(tool));
    if (const auto* error = std::get_if<Error>(&bytes)) {
        return *error;
    }
    const auto parsed = propertyLists.parse(std::get<std::string>(bytes));
    if (const auto* error = std::get_if<Error>(&parsed)) {
        return *error;
    }
    const auto* entries = std::get<PropertyValue>(parsed).as<PropertyValue::Dictionary>();
    return entries ? *entries : PropertyValue::Dictionary();
}

std::string textIn(const PropertyValue::Dictionary& entries, const char* key) {
    const auto found = entries.find(key);
    const auto* text = found == entries.end() ? nullptr : found->second.as<std::string>();
    return text ? *text : "";
}

/// Checks that the new program is this helper, and that it is not older than the installed one: whoever asks
/// for an installation may offer an old helper because of its faults. An installed file that is no helper has
/// no version, and any helper may replace it.
std::optional<Error> checkTool(const AtomicFile& tool, const std::string& label,
                               const PropertyList& propertyLists) {
    const auto info = infoListOf(tool.file(), propertyLists);
    if (const auto* error = std::get_if<Error>(&info)) {
        return *error;
    }
    const auto& entries = std::get<PropertyValue::Dictionary>(info);
    if (textIn(entries, "CFBundleIdentifier") != label) {
        return Error{"blessing", EINVAL, "The program is not the helper " + label};
    }
    const FileDescriptor replaced = tool.replaced();
    const auto installed =
        replaced ? infoListOf(replaced, propertyLists) : std::variant<PropertyValue::Dictionary, Error>();
    const auto* installedEntries = std::get_if<PropertyValue::Dictionary>(&installed);
    const std::string former = installedEntries ? textIn(*installedEntries, "CFBundleVersion") : "";
    const std::string version = textIn(entries, "CFBundleVersion");
    if (!former.empty() && Kvs::fIsOlderVersion(version, former)) {
        return Error{"blessing", EPERM, "Version " + version + " is older than the installed " + former};
    }
    return std::nullopt;
}

PropertyValue jobDescription(const std::string& label) {
    PropertyValue::Array arguments{{helperToolPath(label)}};
    for (const std::string& argument : helperArguments()) {
        arguments.push_back({argument});
    }
    return {PropertyValue::Dictionary{{"Label", {label}}, {"ProgramArguments", {arguments}}}};
}

} // namespace

bool isJobLabel(std::string_view label) {
    constexpr std::size_t kLongest = 200; // a file name has at most 255 bytes, as has its temporary name
    return !label.empty() && label.size() <= kLongest && label.front() != '.' &&
           std::all_of(label.begin(), label.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '.' || c == '-' || c == '_';
           });
}

std::string helperToolPath(const std::string& label) {
    return FSysInfoPaths::underRoot("/Library/PrivilegedHelperTools/" + label);
}

std::string helperJobPath(const std::string& label) {
    return FSysInfoPaths::underRoot("/Library/LaunchDaemons/" + label + ".plist");
}

std::vector<std::string> helperArguments() {
    const std::string root = FSysInfoPaths::underRoot("");
    return root.empty() ? std::vector<std::string>{} : std::vector<std::string>{"--root", root};
}

std::optional<Error> tryHelperFolders() {
    for (const std::string& path : {helperToolPath("probe"), helperJobPath("probe")}) {
        if (!AtomicFile::create(path, trustOfThisProcess())) {
            return posixError(errno, path);
        }
    }
    return std::nullopt;
}

std::optional<Error> HelperFiles::add(const std::string& path, mode_t mode, Trust trust) {
    auto file = AtomicFile::create(path, trust);
    if (!file) {
        return posixError(errno, path);
    }
    parts_.push_back({std::move(*file), path, mode});
    return std::nullopt;
}

std::variant<HelperFiles, Error> HelperFiles::prepare(const std::string& source, const std::string& label,
                                                      Trust trust, const PropertyList& propertyLists) {
    const auto description = propertyLists.write(jobDescription(label));
    if (const auto* error = std::get_if<Error>(&description)) {
        return *error;
    }
    const bool ofTheSystem = ::geteuid() == 0 && FSysInfoPaths::underRoot("").empty();
    HelperFiles files;
    if (auto error = files.add(helperToolPath(label), ofTheSystem ? 0544 : 0755, trust)) {
        return *error;
    }
    AtomicFile& tool = files.parts_.front().file;
    if (const int error = copyTool(source, trust, tool.file().get()); error != 0) {
        return posixError(error, source);
    }
    if (auto error = checkTool(tool, label, propertyLists)) {
        return *error;
    }
    files.replacesAnother_ = static_cast<bool>(tool.replaced());
    std::vector<std::pair<std::string, std::string>> texts{
        {helperJobPath(label), std::get<std::string>(description)}};
    if (hasSystemd()) {
        texts.emplace_back(unitPath(label), unitText(label));
    }
    for (const auto& [path, text] : texts) {
        if (auto error = files.add(path, 0644, trust)) {
            return *error;
        }
        if (const int error = writeAll(files.parts_.back().file.file().get(), text); error != 0) {
            return posixError(error, path);
        }
    }
    return files;
}

std::optional<Error> HelperFiles::commit() {
    for (Part& part : parts_) {
        if (const int error = part.file.commit(part.mode); error != 0) {
            restore();
            return posixError(error, part.path);
        }
    }
    return std::nullopt;
}

void HelperFiles::restore() {
    for (Part& part : parts_) {
        part.file.restore();
    }
}

} // namespace kvn::host
