// SPDX-License-Identifier: MIT

#include "host/posix/SandboxPrivacy.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/ReadFile.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kFile = "/var/db/com.korvane.remote.privacy.plist";

using Dictionary = PropertyValue::Dictionary;

bool isGranted(const Dictionary& permissions, const char* name) {
    const auto found = permissions.find(name);
    if (found == permissions.end()) {
        return true;
    }
    const bool* granted = found->second.as<bool>();
    return granted && *granted;
}

SandboxPrivacy::Grants refuse(const std::string& reason) {
    Kvs::OCNSLog("No permission is granted, %@ cannot be read: %@", Kvs::FSysInfoPaths::underRoot(kFile),
                 reason);
    return {false, false};
}

} // namespace

SandboxPrivacy::SandboxPrivacy(std::string program, const PropertyList& propertyLists)
    : program_(std::move(program)), propertyLists_(propertyLists) {}

SandboxPrivacy::Grants SandboxPrivacy::grants() const {
    const auto bytes = Kvs::fReadFile(Kvs::FSysInfoPaths::underRoot(kFile), PropertyList::kMaxBytes);
    if (!bytes) {
        return errno == ENOENT ? Grants{} : refuse(std::generic_category().message(errno));
    }
    const auto parsed = propertyLists_.parse(*bytes);
    if (const auto* error = std::get_if<Error>(&parsed)) {
        return refuse(error->reason);
    }
    const auto* programs = std::get<PropertyValue>(parsed).as<Dictionary>();
    if (!programs) {
        return refuse("it is no dictionary");
    }
    const auto own = programs->find(program_);
    if (own == programs->end()) {
        return {};
    }
    const auto* permissions = own->second.as<Dictionary>();
    if (!permissions) {
        return refuse(program_ + " is no dictionary");
    }
    return {isGranted(*permissions, "accessibility"), isGranted(*permissions, "screenRecording")};
}

std::optional<std::vector<ScreenWindow>> SandboxPrivacy::onScreenWindows() const {
    ScreenWindow screen;
    if (grants().screenRecording) {
        screen.name = "Screen";
    }
    return std::vector{screen};
}

bool SandboxPrivacy::requestScreenCapture() { return asked(grants().screenRecording, "screen recording"); }

bool SandboxPrivacy::isAccessibilityTrusted(bool prompt) {
    const bool granted = grants().accessibility;
    return prompt ? asked(granted, "accessibility") : granted;
}

bool SandboxPrivacy::asked(bool granted, const char* what) const {
    if (!granted) {
        Kvs::OCNSLog("The user is asked to allow %@: %@", program_, what);
    }
    return granted;
}

} // namespace kvn::host
