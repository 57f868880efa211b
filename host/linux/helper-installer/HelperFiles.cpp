// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/HelperFiles.h"

#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "host/executable/EmbeddedInfoList.h"
#include "host/linux/helper-installer/AtomicFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
int copyTool(const std::string& source, std::optional<uid_t> owner, int target) {
    // The path may name a FIFO; O_NONBLOCK keeps it from blocking.
    const FileDescriptor file(::open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    if (owner && status.st_uid != 0 && status.st_uid != *owner) {
        return EPERM;
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

std::optional<Error> checkIdentifier(const std::string& tool, const std::string& label,
                                     const PropertyList& propertyLists) {
    const auto bytes = readEmbeddedInfoList(tool);
    if (const auto* error = std::get_if<Error>(&bytes)) {
        return *error;
    }
    const auto parsed = propertyLists.parse(std::get<std::string>(bytes));
    if (const auto* error = std::get_if<Error>(&parsed)) {
        return *error;
    }
    if (const auto* entries = std::get<PropertyValue>(parsed).as<PropertyValue::Dictionary>()) {
        const auto found = entries->find("CFBundleIdentifier");
        if (found != entries->end() && found->second == PropertyValue{label}) {
            return std::nullopt;
        }
    }
    return Error{"blessing", EINVAL, "The program is not the helper " + label};
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
        if (!AtomicFile::create(path)) {
            return posixError(errno, path);
        }
    }
    return std::nullopt;
}

std::optional<Error> installHelperFiles(const std::string& source, const std::string& label,
                                        std::optional<uid_t> owner, const PropertyList& propertyLists) {
    const auto description = propertyLists.write(jobDescription(label));
    if (const auto* error = std::get_if<Error>(&description)) {
        return *error;
    }
    auto tool = AtomicFile::create(helperToolPath(label));
    if (!tool) {
        return posixError(errno, helperToolPath(label));
    }
    auto job = AtomicFile::create(helperJobPath(label));
    if (!job) {
        return posixError(errno, helperJobPath(label));
    }
    if (const int error = copyTool(source, owner, tool->descriptor()); error != 0) {
        return posixError(error, source);
    }
    if (auto error = checkIdentifier(tool->temporaryPath(), label, propertyLists)) {
        return error;
    }
    const bool ofTheSystem = ::geteuid() == 0 && FSysInfoPaths::underRoot("").empty();
    int error = writeAll(job->descriptor(), std::get<std::string>(description));
    error = error != 0 ? error : tool->commit(ofTheSystem ? 0544 : 0755);
    error = error != 0 ? error : job->commit(0644);
    return error != 0 ? std::optional(posixError(error, helperToolPath(label))) : std::nullopt;
}

} // namespace kvn::host
